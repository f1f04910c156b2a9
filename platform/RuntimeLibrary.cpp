#include "platform/RuntimeLibrary.h"

#include <dlfcn.h>

#include <cerrno>

namespace quol {

RuntimeLibrary::RuntimeLibrary(const std::string& name)
    : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ != nullptr) return;
    const int error = errno; // the caller's to read
    const char* const told = dlerror();
    reason_ = told != nullptr ? told : "";
    errno = error;
}

RuntimeLibrary::~RuntimeLibrary() {
    if (handle_ != nullptr) dlclose(handle_);
}

void* RuntimeLibrary::symbol(const char* name) const {
    return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

} // namespace quol

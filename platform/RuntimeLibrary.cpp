#include "platform/RuntimeLibrary.h"

#include <dlfcn.h>

namespace quol {

RuntimeLibrary::RuntimeLibrary(const std::string& name)
    : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

RuntimeLibrary::~RuntimeLibrary() {
    if (handle_ != nullptr) dlclose(handle_);
}

void* RuntimeLibrary::symbol(const char* name) const {
    return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

} // namespace quol

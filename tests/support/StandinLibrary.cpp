#include "support/StandinLibrary.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace test {

void* standinControl(const char* library, const char* entry) {
    void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        throw std::runtime_error(std::string("no stand-in on the library path: ") + dlerror());
    void* const symbol = dlsym(handle, entry);
    if (symbol == nullptr) throw std::runtime_error(std::string(library) + " is not the stand-in");
    return reinterpret_cast<void* (*)()>(symbol)();
}

} // namespace test

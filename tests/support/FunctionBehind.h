// A test program that has a function of the name of a shared library's stands before that library
// for everything that is linked into the program, and calls it by this.
#pragma once

#include <dlfcn.h>

namespace test {

// The library's own. `name` is its symbol.
template <typename Function>
Function* functionBehind(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace test

// Holds test programs to what tests/CMakeLists.txt says of them: that no thread runs in them but
// the main one, which is why the thread sanitizer has nothing to find there.
#include <pthread.h>

#include <cstdio>
#include <cstdlib>

// In the place of the system's. Stays visible, as the libraries have to find it.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t*,
                                                                     const pthread_attr_t*,
                                                                     void* (*)(void*), void*) {
    std::fputs("A thread starts here: this program is not one of `single_threaded`.\n", stderr);
    std::abort();
}

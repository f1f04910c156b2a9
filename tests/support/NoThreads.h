// A system that has no thread left.
#pragma once

#include <pthread.h>

#include <cstddef>

namespace test {

// While it stands no thread can be made: each would get a stack that no address space has room for.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        pthread_getattr_default_np(&huge);
        works_ = pthread_attr_setstacksize(&huge, std::size_t{1} << 47) == 0 &&
                 pthread_setattr_default_np(&huge) == 0;
        pthread_attr_destroy(&huge);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;
    ~NoThreads() {
        pthread_setattr_default_np(&before_);
        pthread_attr_destroy(&before_);
    }

    bool works() const { return works_; }

private:
    pthread_attr_t before_;
    bool works_ = false;
};

} // namespace test

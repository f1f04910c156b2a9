// A shared library that is opened while the program runs, because the machine may not have it.
#pragma once

#include <string>

namespace quol {

// Open while the object lives, and for ever once it was kept.
class RuntimeLibrary {
public:
    // `name` is a path, or a bare file name for the loader's own search. A library that does not
    // resolve all that it needs itself does not open: on air it would end the program at the first
    // call into the gap.
    explicit RuntimeLibrary(const std::string& name);
    ~RuntimeLibrary();

    RuntimeLibrary(const RuntimeLibrary&) = delete;
    RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }

    // Why it is not open, in the loader's words; empty when it is.
    const std::string& reason() const { return reason_; }

    // The function of that name; false, and null, when the library lacks it.
    template <typename Function>
    bool find(const char* name, Function*& function) const {
        function = reinterpret_cast<Function*>(symbol(name));
        return function != nullptr;
    }

    // Leaves it open until the process ends. Vendors' runtimes start threads of their own, which
    // outlive the last object that used them.
    void keep() { handle_ = nullptr; }

private:
    void* symbol(const char* name) const;

    void* handle_;
    std::string reason_;
};

} // namespace quol

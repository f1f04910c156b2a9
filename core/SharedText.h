/// @file
/// A text that may be written and read at the same moment.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace quol {

/// What std::atomic is to a number: a text field of an object that is at work, which any thread may
/// write while others read it. Each call is whole by itself; a reader gets a copy.
class SharedText {
public:
    SharedText() = default;
    explicit SharedText(std::string_view text) : text_(text) {} ///< holds a copy
    SharedText(const SharedText&) = delete;
    SharedText& operator=(const SharedText&) = delete;
    /// Any thread.
    SharedText& operator=(std::string text) {
        const std::lock_guard lock(mutex_);
        text_.swap(text); // the old one is freed when the lock is open again
        return *this;
    }

    /// A copy of the text now.
    std::string load() const {
        const std::lock_guard lock(mutex_);
        return text_;
    }
    operator std::string() const { return load(); } ///< the same

    /// Whether it is that text now.
    bool operator==(std::string_view other) const {
        const std::lock_guard lock(mutex_);
        return text_ == other;
    }

private:
    mutable std::mutex mutex_;
    std::string text_; // under mutex_
};

} // namespace quol

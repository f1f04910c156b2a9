#include "quolsdk/LFilter.h"

#include <utility>

LFilter::LFilter(Type type) : type(type) {}

LFilter::~LFilter() = default;

void LFilter::setProps(const std::string& key, const std::string& value) {
    std::string name = key;
    for (char& letter : name) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    std::function<void()> callback;
    {
        const std::lock_guard lock(mutex);
        if (value.empty() || value == "false") {
            props.erase(name);
        } else {
            props[name] = value;
        }
        callback = notify;
    }
    if (callback) callback();
}

void LFilter::setNotifyCallback(std::function<void()> callback) {
    const std::lock_guard lock(mutex);
    notify = std::move(callback);
}

std::string LFilter::getFilterString() const {
    const std::lock_guard lock(mutex);
    if (props.empty()) return type == Type::audio ? "anull" : "null";
    std::string text;
    for (const auto& [name, arguments] : props) {
        if (!text.empty()) text += ',';
        text += name;
        if (arguments != "true" && arguments != "1") text += '=' + arguments;
    }
    return text;
}

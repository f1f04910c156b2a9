// One reference to an object of the DeckLink driver, given back when the holder goes.
#pragma once

#include <utility>

#include "platform/decklink/DeckLink.h"

namespace quol::decklink {

template <typename Interface>
class ComRef {
public:
    ComRef() = default;

    // Takes over a reference that the caller holds.
    static ComRef adopt(Interface* object) {
        ComRef reference;
        reference.object_ = object;
        return reference;
    }

    // Adds one of its own; the caller keeps his.
    static ComRef retain(Interface* object) {
        if (object != nullptr) object->AddRef();
        return adopt(object);
    }

    ComRef(const ComRef& other) : ComRef(retain(other.object_)) {}
    ComRef(ComRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComRef& operator=(ComRef other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ComRef() { reset(); }

    Interface* get() const { return object_; }
    Interface* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    void reset() {
        if (Interface* const object = std::exchange(object_, nullptr)) object->Release();
    }

    // Hands the reference to the caller.
    Interface* release() { return std::exchange(object_, nullptr); }

private:
    Interface* object_ = nullptr;
};

// What a call of the driver hands out, as in `received<T>([&](T** out) { return x->Next(out); })`.
// Empty when the call failed, whatever it wrote, and when it succeeded with nothing.
template <typename Interface, typename Call>
ComRef<Interface> received(Call&& call) {
    Interface* object = nullptr;
    if (!succeeded(call(&object))) return {};
    return ComRef<Interface>::adopt(object);
}

// Another interface of the object; empty when it has none of that kind, and for null.
template <typename Interface, typename Object>
ComRef<Interface> query(Object* object) {
    if (object == nullptr) return {};
    return received<Interface>([object](Interface** out) {
        void* found = nullptr;
        const HRESULT result = object->QueryInterface(Interface::iid, &found);
        *out = static_cast<Interface*>(found);
        return result;
    });
}
template <typename Interface, typename Object>
ComRef<Interface> query(const ComRef<Object>& object) {
    return query<Interface>(object.get());
}

} // namespace quol::decklink

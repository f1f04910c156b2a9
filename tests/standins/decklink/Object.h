// What the objects of the stand-in for the DeckLink driver have in common: a count of references
// that is watched, and a place where each call can be made to fail.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

#include "decklink/Machine.h"

namespace standin {

using quol::decklink::REFIID;
using quol::decklink::ULONG;

template <typename Interface>
class Object : public Interface {
public:
    HRESULT QueryInterface(REFIID id, void** out) override {
        const std::string method = name("QueryInterface");
        {
            const auto held = use(method);
            if (out == nullptr) return quol::decklink::E_POINTER;
            if (const auto failure = machine().scripted(method)) return *failure;
            if (id == Interface::iid || id == quol::decklink::IUnknown::iid) {
                ++life_.references;
                *out = static_cast<Interface*>(this);
                return quol::decklink::S_OK;
            }
        }
        *out = other(id);
        return *out == nullptr ? quol::decklink::E_NOINTERFACE : quol::decklink::S_OK;
    }

    ULONG AddRef() override {
        const auto held = use(name("AddRef"));
        machine().changed();
        return ++life_.references;
    }

    ULONG Release() override {
        std::function<void()> afterwards;
        {
            const auto held = use(name("Release"));
            if (life_.references == 0) return 0;
            machine().changed();
            if (--life_.references > 0) return life_.references;
            machine().died(life_);
            afterwards = gone();
        }
        if (afterwards) afterwards();
        return 0;
    }

    // One reference more, unless the last one is gone.
    bool again() {
        const auto held = machine().lock();
        if (life_.references == 0) return false;
        ++life_.references;
        machine().changed();
        return true;
    }

protected:
    explicit Object(const char* interface) : life_{interface} {
        const auto held = machine().lock();
        machine().born(life_);
    }
    ~Object() = default; // never: see Life

    static Machine& machine() { return Machine::instance(); }

    // Another interface of it, with a reference; null for none. Without the mutex.
    virtual void* other(REFIID /*id*/) { return nullptr; }

    // The last reference went; with the mutex. What it gives is run without.
    virtual std::function<void()> gone() { return {}; }

    std::string name(const char* method) const {
        return std::string(life_.interface) + "::" + method;
    }

    // Every method starts with one of these, and keeps what it gives until its end.
    std::unique_lock<std::mutex> use(const std::string& method) {
        auto held = machine().lock();
        if (life_.references == 0) machine().misuse(method + " after the last reference");
        return held;
    }

    struct Call {
        std::unique_lock<std::mutex> lock;
        std::optional<HRESULT> failure; // what the call has to give, without doing anything
    };
    Call call(const char* method) {
        Call made{use(name(method)), std::nullopt};
        made.failure = machine().scripted(name(method));
        return made;
    }
    // Of a card, and remembered.
    Call call(const char* method, const Card& card, std::initializer_list<std::int64_t> arguments) {
        Call made{use(name(method)), std::nullopt};
        machine().log(card, name(method), arguments);
        machine().waitWhileCallIsHeld(made.lock, name(method));
        made.failure = machine().scripted(name(method));
        return made;
    }

private:
    Life life_;
};

// Text as the driver hands it out: the caller frees it.
HRESULT handOut(const std::optional<std::string>& text, const char** out);

} // namespace standin

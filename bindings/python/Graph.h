// Who keeps whom alive.
//
// In the library a connection owns nothing, and both sides must outlive it. In Python one rule
// takes the place of that: a consumer keeps what it is connected to alive, and leaves it before it
// goes. So a source that nobody names any more lives on while a mixer shows it, and a sink that
// nobody names any more is detached.
//
// Every object that Python makes has a node here, which holds what its connections need. Objects
// that keep each other alive in a ring stay until the ring is opened, or the interpreter ends: then
// everything is taken apart in an order that is safe whatever the graph (closeGraph, endGraph).
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Gate.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LSink.h"

namespace quolpy {

// One object of the library, and what it is connected to.
class Node {
public:
    // One change of connections at a time. Never taken by a thread of the library, nor with the
    // interpreter lock held.
    std::mutex control;

    // What the object uses, by where it uses it. Changed under `control`.
    std::map<std::string, std::shared_ptr<void>> slots;

    // What it is attached to as a sink, in the order of attachment. Changed under `control`.
    struct Attachment {
        std::shared_ptr<LObject> source;
        LSink* sink;
        bool direct; // by LObject::addSink itself, see SwitcherPreviewObject
    };
    std::vector<Attachment> attachments;

    std::function<void()> letGo;   // leaves everything by the object's own calls
    std::function<void()> destroy; // deletes the object
    bool isConsumer = false;       // a sink: it lets go, and finishes its file, before all others
};

// The address of the whole object, whatever base it is looked at by.
template <typename T>
void* keyOf(const T* object) {
    if constexpr (std::is_polymorphic_v<T>) {
        return const_cast<void*>(dynamic_cast<const void*>(object));
    } else {
        return const_cast<T*>(object);
    }
}

// The node of an object that Python made. The object is alive, so its node is.
std::shared_ptr<Node> nodeAt(void* key);
template <typename T>
std::shared_ptr<Node> nodeOf(const T& object) {
    return nodeAt(keyOf(&object));
}

void addNode(void* key, std::shared_ptr<Node> node);

// Ends an object: detaches it, deletes it, lets go of what it held. From inside a callback the work
// is handed to a thread, since the object may be waiting for this one. With the interpreter lock or
// without; an object that is gone already is ignored.
void retire(void* key) noexcept;

// By class: how an object leaves everything it is connected to. Most have nothing to leave.
template <typename T>
void letGoOf(T&) {}

// The holder of a new object.
template <typename T>
std::shared_ptr<T> hold(T* object) {
    auto node = std::make_shared<Node>();
    node->destroy = [object] { delete object; };
    node->letGo = [object] { letGoOf(*object); };
    if constexpr (std::is_base_of_v<LSink, T>) node->isConsumer = true;
    void* key = keyOf(object);
    addNode(key, std::move(node));
    return std::shared_ptr<T>(object, [key](T*) { retire(key); });
}

// Makes an object, on a thread that need not hold the interpreter lock: some start threads.
template <typename T, typename... Args>
std::shared_ptr<T> make(Args&&... args) {
    const Unlocked unlocked;
    return hold(new T(std::forward<Args>(args)...));
}

// What is connected where: a place, and the source that is to be there, null for none.
struct Connection {
    std::string slot;
    std::shared_ptr<void> source;
};

// Calls `call`, which makes these connections of `consumer`. From then on their sources are kept
// alive, in place of those that were there before.
template <typename T, typename Call>
void connect(T& consumer, std::vector<Connection> connections, Call call) {
    const std::shared_ptr<Node> node = nodeOf(consumer);
    const std::lock_guard lock(node->control);
    call();
    for (Connection& connection : connections) {
        // Nobody keeps itself alive. What was there goes behind the lock: this may be the last to
        // hold it.
        if (keyOf(&consumer) == connection.source.get()) connection.source.reset();
        node->slots[connection.slot].swap(connection.source);
        if (!node->slots[connection.slot]) node->slots.erase(connection.slot);
    }
}

template <typename T, typename Call>
void connect(T& consumer, const std::string& slot, std::shared_ptr<void> source, Call call) {
    connect(consumer, std::vector<Connection>{{slot, std::move(source)}}, std::move(call));
}

// The held object at that address, null where there is none.
template <typename Held, typename T>
std::shared_ptr<Held> findHeld(T& consumer, const void* address) {
    const std::shared_ptr<Node> node = nodeOf(consumer);
    const std::lock_guard lock(node->control);
    for (const auto& [slot, held] : node->slots) {
        if (held.get() == address) return std::static_pointer_cast<Held>(held);
    }
    return nullptr;
}

void attach(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink,
            bool direct);
// The same where the source counts no second time, by its own addSink.
void attachOnce(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink);
void detach(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink,
            bool direct);

// For the interpreter's end: while it still runs, everything finishes what it writes and leaves
// everything else. The interpreter lock is held.
void closeGraph();
// When it runs no more: destroys what nobody has.
void endGraph();

} // namespace quolpy

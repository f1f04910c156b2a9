#include "Graph.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace quolpy {

namespace {

// Destroys objects that went inside a callback.
class Reaper {
public:
    void take(void* key) {
        const std::lock_guard lock(mutex);
        keys.push_back(key);
        if (!thread.joinable()) start();
        filled.notify_one();
    }

    // Waits until all is done; what comes later is left to the caller of finish.
    void finish() {
        {
            const std::lock_guard lock(mutex);
            ending = true;
            filled.notify_one();
        }
        if (thread.joinable()) thread.join();
    }

private:
    // Where no thread is to be had, what is to go waits for the next `take`, or the graph's end.
    void start() {
        try {
            thread = std::thread([this] { run(); });
        } catch (const std::system_error&) {
        }
    }

    void run();

    std::mutex mutex; // guards all below but the thread, which `take` makes and `finish` joins
    std::condition_variable filled;
    std::deque<void*> keys;
    bool ending = false;
    std::thread thread;
};

// What the module knows. Never destroyed: threads that sleep for good may hold parts of it.
struct Graph {
    std::mutex mutex; // guards `nodes`
    std::unordered_map<void*, std::shared_ptr<Node>> nodes;
    Reaper reaper;
    std::atomic<bool> ended{false};
};

Graph& graph() {
    static Graph& graph = *new Graph;
    return graph;
}

std::shared_ptr<Node> takeNode(void* key) {
    Graph& g = graph();
    const std::lock_guard lock(g.mutex);
    const auto found = g.nodes.find(key);
    if (found == g.nodes.end()) return nullptr;
    std::shared_ptr<Node> node = std::move(found->second);
    g.nodes.erase(found);
    return node;
}

std::vector<std::pair<void*, std::shared_ptr<Node>>> allNodes() {
    Graph& g = graph();
    const std::lock_guard lock(g.mutex);
    return {g.nodes.begin(), g.nodes.end()};
}

// Gives back what the node held: the sources may go with it.
std::vector<Node::Attachment> detachAll(Node& node) {
    std::vector<Node::Attachment> left;
    {
        const std::lock_guard lock(node.control);
        left.swap(node.attachments);
    }
    for (const Node::Attachment& entry : left) {
        if (entry.direct) {
            entry.source->LObject::removeSink(entry.sink);
        } else {
            entry.source->removeSink(entry.sink);
        }
    }
    return left;
}

void destroy(void* key) {
    const std::shared_ptr<Node> node = takeNode(key);
    if (!node) return;
    detachAll(*node);
    node->destroy();
    // With the node goes what it held, and with that perhaps the next object.
}

void Reaper::run() {
    neverRest();
    std::unique_lock lock(mutex);
    for (;;) {
        filled.wait(lock, [this] { return ending || !keys.empty(); });
        if (keys.empty()) return;
        void* key = keys.front();
        keys.pop_front();
        lock.unlock();
        destroy(key);
        lock.lock();
    }
}

// Everything leaves everything else; afterwards objects may go in any order.
void takeApart() {
    auto nodes = allNodes();
    std::stable_partition(nodes.begin(), nodes.end(),
                          [](const auto& entry) { return entry.second->isConsumer; });
    // Nothing may go before the last one has let go.
    std::vector<std::vector<Node::Attachment>> held;
    for (const auto& [key, node] : nodes) {
        held.push_back(detachAll(*node));
        node->letGo();
    }
    for (const auto& [key, node] : nodes) {
        std::map<std::string, std::shared_ptr<void>> slots; // goes outside the lock
        const std::lock_guard lock(node->control);
        slots.swap(node->slots);
    }
}

} // namespace

std::shared_ptr<Node> nodeAt(void* key) {
    Graph& g = graph();
    const std::lock_guard lock(g.mutex);
    return g.nodes.at(key);
}

void addNode(void* key, std::shared_ptr<Node> node) {
    Graph& g = graph();
    const std::lock_guard lock(g.mutex);
    g.nodes[key] = std::move(node);
}

void retire(void* key) noexcept {
    // A copy of the process has the objects, but none of their threads to wait for.
    if (!isOwnProcess()) return;
    if (isInsideCallback()) {
        graph().reaper.take(key);
    } else if (!graph().ended && PyGILState_Check() != 0) {
        const Unlocked unlocked; // which sleeps, too, but not with the interpreter lock
        destroy(key);
    } else {
        restIfClosed();
        destroy(key);
    }
}

namespace {

// Under the lock of the sink's node.
void attachTo(Node& node, const std::shared_ptr<LObject>& source,
              const std::shared_ptr<LSink>& sink, bool direct) {
    node.attachments.reserve(node.attachments.size() + 1); // an entry only for what is attached
    if (direct) {
        source->LObject::addSink(sink.get());
    } else {
        source->addSink(sink.get());
    }
    node.attachments.push_back({source, sink.get(), direct});
}

} // namespace

void attach(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink,
            bool direct) {
    const std::shared_ptr<Node> node = nodeOf(*sink);
    const std::lock_guard lock(node->control);
    attachTo(*node, source, sink, direct);
}

void attachOnce(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink) {
    const std::shared_ptr<Node> node = nodeOf(*sink);
    const std::lock_guard lock(node->control);
    const auto isThis = [&](const auto& entry) { return entry.source == source && !entry.direct; };
    if (std::any_of(node->attachments.begin(), node->attachments.end(), isThis)) return;
    attachTo(*node, source, sink, false);
}

void detach(const std::shared_ptr<LObject>& source, const std::shared_ptr<LSink>& sink,
            bool direct) {
    const std::shared_ptr<Node> node = nodeOf(*sink);
    const std::lock_guard lock(node->control);
    if (direct) {
        source->LObject::removeSink(sink.get());
    } else {
        source->removeSink(sink.get());
    }
    auto& entries = node->attachments;
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
        return entry.source == source && entry.direct == direct;
    });
    if (found != entries.end()) entries.erase(found); // the caller still holds the source
}

void closeGraph() {
    if (!isOwnProcess()) return;
    closeGate();
    const Unlocked unlocked;
    graph().reaper.finish();
    takeApart();
    endCallbacks();
}

void endGraph() {
    if (!isOwnProcess()) return;
    graph().ended = true;
    // A thread of Python's that is still in a call uses an object: better to leave them all.
    if (!waitForCalls()) return;
    takeApart();
    for (const auto& [key, node] : allNodes())
        destroy(key);
}

} // namespace quolpy

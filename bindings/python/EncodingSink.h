// What the recorder and the streamer have in common: a source that counts from the next start.
#pragma once

#include "Bind.h"

namespace quolpy {

// The source set now, and the one attached by the latest start, which stays attached until the next
// start or stop. Both are kept alive.
template <typename Sink>
void setEncodingSource(Sink& sink, const Source& source) {
    connect(sink, "source", source, [&] { sink.source = source.get(); });
}

template <typename Sink>
Source getEncodingSource(Sink& sink) {
    const Unlocked unlocked;
    const std::shared_ptr<Node> node = nodeOf(sink);
    const std::lock_guard lock(node->control);
    return std::static_pointer_cast<LObject>(node->slots["source"]);
}

// The one attached before is held until the start is over, which leaves it.
template <typename Sink, typename Start>
bool startEncoding(Sink& sink, Start start) {
    const std::shared_ptr<Node> node = nodeOf(sink);
    std::shared_ptr<void> before; // goes behind the lock
    const std::lock_guard lock(node->control);
    const std::shared_ptr<void> source = node->slots["source"];
    const bool started = start();
    if (started) before = std::exchange(node->slots["attached"], source);
    return started;
}

template <typename Sink>
void stopEncoding(Sink& sink) {
    connect(sink, "attached", nullptr, [&] { sink.Stop(); });
}

} // namespace quolpy

// A sink that a compositor has hung into a source already, for a change that has not been made yet.
#pragma once

#include <memory>
#include <utility>

#include "compositing/DetachedSinks.h"
#include "quolsdk/LObject.h"

namespace quol {

// All of a change that may be refused comes before the change: attaching takes memory. Unless it is
// taken over, the sink is detached and ended when this goes, which should be outside the lock of
// the compositor's state, as attaching should.
template <typename Sink>
class AttachedSink {
public:
    AttachedSink() = default; // none
    // Null for none. Throws std::bad_alloc with nothing attached.
    AttachedSink(LObject* source, std::unique_ptr<Sink> sink) {
        if (!sink) return;
        source->addSink(sink.get());
        source_ = source;
        sink_ = std::move(sink);
    }
    AttachedSink(const AttachedSink&) = delete;
    AttachedSink& operator=(const AttachedSink&) = delete;
    ~AttachedSink() { detachSink(source_, std::move(sink_)); }

    // The sink, attached, for whoever detaches it from now on; null for none. Needs no memory.
    std::unique_ptr<Sink> take() { return std::move(sink_); }

private:
    LObject* source_ = nullptr;
    std::unique_ptr<Sink> sink_;
};

} // namespace quol

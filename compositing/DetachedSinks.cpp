#include "compositing/DetachedSinks.h"

#include "quolsdk/LObject.h"

namespace quol {

void DetachedSinks::add(LObject* source, std::unique_ptr<LSink> sink) {
    if (sink) sinks_.emplace_back(source, std::move(sink));
}

void DetachedSinks::release() {
    for (auto& [source, sink] : sinks_) {
        if (source != nullptr) source->removeSink(sink.get());
        sink.reset();
    }
    sinks_.clear();
}

} // namespace quol

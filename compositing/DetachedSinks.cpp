#include "compositing/DetachedSinks.h"

#include "quolsdk/LObject.h"

namespace quol {

void detachSink(LObject* source, std::unique_ptr<LSink> sink) {
    if (sink && source != nullptr) source->removeSink(sink.get());
}

void DetachedSinks::release() {
    for (auto& [source, sink] : sinks_)
        detachSink(source, std::move(sink));
    sinks_.clear();
}

} // namespace quol

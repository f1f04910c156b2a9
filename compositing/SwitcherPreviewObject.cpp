#include "quolsdk/SwitcherPreviewObject.h"

#include "core/HadMemory.h"
#include "core/Log.h"
#include "quolsdk/LSwitcher.h"

void SwitcherPreviewObject::addSink(LSink* sink) {
    quol::logOut("[SwitcherPreviewObject] addSink sink=%p parent=%p", quol::address(sink),
                 quol::address(&parent));
    const std::lock_guard lock(followMutex);
    quol::logOut("[SwitcherPreviewObject] addSink currentPreviewSource=%p",
                 quol::address(followedSource));
    if (sink == nullptr || !followers.insert(sink).second) return;
    try {
        if (followedSource != nullptr) followedSource->addSink(sink);
    } catch (...) {
        followers.erase(sink); // whoever is told that it failed may end the sink
        throw;
    }
}

void SwitcherPreviewObject::removeSink(LSink* sink) {
    quol::logOut("[SwitcherPreviewObject] removeSink sink=%p parent=%p", quol::address(sink),
                 quol::address(&parent));
    const std::lock_guard lock(followMutex);
    quol::logOut("[SwitcherPreviewObject] removeSink currentPreviewSource=%p",
                 quol::address(followedSource));
    if (followers.erase(sink) == 0) return;
    if (followedSource != nullptr) followedSource->removeSink(sink);
}

// Whether somebody watches the rendered preview.
bool SwitcherPreviewObject::isWatched() {
    const std::lock_guard lock(sinksMutex);
    return !sinks.empty();
}

// The followers move to the source that is on preview now. Once this has returned, none of them is
// attached to another; one that there was no memory for waits for the next. `told`: with a line for
// each.
void SwitcherPreviewObject::followSource(bool told) {
    const std::lock_guard lock(followMutex);
    LObject* const newSource = parent.getCurrentPreviewSource();
    LObject* const oldSource = followedSource;
    if (newSource == oldSource) return;
    if (told) {
        quol::logOut("[LSwitcher::setPreview] shifting preview sinks oldSource=%p -> newSource=%p",
                     quol::address(oldSource), quol::address(newSource));
    }
    followedSource = newSource;
    for (LSink* const sink : followers) {
        if (told) quol::logOut("[LSwitcher::setPreview]   - sink=%p", quol::address(sink));
        if (oldSource != nullptr) oldSource->removeSink(sink);
        if (newSource != nullptr) quol::hadMemory([&] { newSource->addSink(sink); });
    }
}

#include "quolsdk/SwitcherPreviewObject.h"

#include <iterator>

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

// Moves the followers to the source that is on preview now, one after another: none of them is with
// two at a time. Where there is no memory for one all go back to where they were, for the next
// change to take them along; but only to a source that the switcher still shows, or to `old`: any
// other may be gone by then. False in that case. `told`: with a line for each.
bool SwitcherPreviewObject::followSource(bool told, const LObject* old) {
    const std::lock_guard lock(followMutex);
    LObject* const newSource = parent.getCurrentPreviewSource();
    LObject* const oldSource = followedSource;
    if (newSource == oldSource) return true;
    if (told) {
        quol::logOut("[LSwitcher::setPreview] shifting preview sinks oldSource=%p -> newSource=%p",
                     quol::address(oldSource), quol::address(newSource));
    }
    auto refused = followers.begin();
    for (; refused != followers.end(); ++refused) {
        if (told) quol::logOut("[LSwitcher::setPreview]   - sink=%p", quol::address(*refused));
        if (oldSource != nullptr) oldSource->removeSink(*refused);
        if (!attachTo(newSource, *refused)) break;
    }
    followedSource = newSource;
    if (refused == followers.end()) return true;
    for (auto each = followers.begin(); each != refused; ++each)
        newSource->removeSink(*each);
    goBack(oldSource == old || parent.isShown(oldSource), oldSource, std::next(refused));
    return false;
}

// Those before `left` have none any more. They join the others at the old source, or all leave it.
void SwitcherPreviewObject::goBack(bool mayStay, LObject* oldSource, Followers::iterator left) {
    followedSource = oldSource;
    auto each = followers.begin();
    while (mayStay && each != left && attachTo(oldSource, *each))
        ++each;
    if (mayStay && each == left) return;
    followedSource = nullptr;
    if (oldSource == nullptr) return;
    for (auto gone = followers.begin(); gone != each; ++gone)
        oldSource->removeSink(*gone);
    for (auto gone = left; gone != followers.end(); ++gone)
        oldSource->removeSink(*gone);
}

// Null is no source. False where there is no memory for it.
bool SwitcherPreviewObject::attachTo(LObject* source, LSink* sink) {
    return source == nullptr || quol::hadMemory([&] { source->addSink(sink); });
}

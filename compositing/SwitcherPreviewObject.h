/// @file
/// Where a host watches what a switcher has on preview.
#pragma once

#include <mutex>
#include <set>

#include "quolsdk/LObject.h"

class LSwitcher;

/// The preview output of an LSwitcher, part of it.
///
/// A sink attached with `addSink` gets pictures and sound straight from the source that is on
/// preview, as that source makes them, and follows every change of the preview. A sink attached
/// with `LObject::addSink` (call it by its qualified name) gets the preview as the switcher renders
/// it instead: at the size of the canvas and at the switcher's rate, with the sound of that tick at
/// its own level. While the second kind is there the preview is scaled for every tick.
///
/// Threads: any. A sink must be removed before it is destroyed, in the way it was attached. Sinks
/// must not call the switcher from a push.
class QUOLSDK_API SwitcherPreviewObject : public LObject {
public:
    void addSink(LSink* sink) override;    ///< a sink that is there already is left alone
    void removeSink(LSink* sink) override; ///< one that is not there is ignored

private:
    friend class LSwitcher;
    explicit SwitcherPreviewObject(LSwitcher& switcher) : parent(switcher) {}

    bool isWatched();
    void followSource(bool told);

    LSwitcher& parent;

    /// One change at a time; taken before the switcher's scene lock and before the lists of sinks.
    std::mutex followMutex;
    std::set<LSink*> followers;        ///< not owned; guarded by `followMutex`
    LObject* followedSource = nullptr; ///< what they are attached to; guarded by `followMutex`
};

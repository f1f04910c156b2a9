/// @file
/// A host's own filters for the pictures or the sound of a source.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "quolsdk/LObject.h"
#include "quolsdk/export.h"

/// A set of FFmpeg filters by name, put behind the filters that a source makes for itself
/// (LFile::setVideoFilter, LFile::setAudioFilter). It makes no frames.
///
/// Threads: any; a source's worker reads the text while the host changes the filters. The filter
/// must outlive its use by the source.
class QUOLSDK_API LFilter : public LObject {
public:
    /// What the filters work on.
    enum class Type {
        audio = 0,
        video = 1,
    };

    /// Makes an empty set for pictures or for sound, once and for all.
    explicit LFilter(Type type);
    ~LFilter() override;

    /// Sets the arguments of the filter `key`, e.g. ("hue", "s=0"); "true" and "1" mean none. An
    /// empty value and the exact text "false" take the filter out. Names are lower-cased. Then
    /// calls the notify callback, on the caller's thread.
    void setProps(const std::string& key, const std::string& value);

    /// Stores what setProps calls after each change; an empty function for nothing.
    void setNotifyCallback(std::function<void()> callback);

    /// The chain: the filters in the alphabetical order of their names, not in the order of the
    /// calls, joined by ",". With none, "anull" for audio and "null" for video.
    std::string getFilterString() const;

private:
    const Type type;
    mutable std::mutex mutex;                 ///< guards all below
    std::map<std::string, std::string> props; ///< filter name to arguments, in byte order
    std::function<void()> notify;
};

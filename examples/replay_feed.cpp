#include "replay_feed.h"

#include <quolsdk/LReplay.h>

namespace {

LObject& object(quolsdk_handle handle) {
    return *static_cast<LObject*>(handle);
}

LReplay& sink(quolsdk_handle replay) {
    return static_cast<LReplay&>(object(replay));
}

} // namespace

void feed_replay(quolsdk_handle replay, quolsdk_handle source) {
    object(source).addSink(&sink(replay));
}

void starve_replay(quolsdk_handle replay, quolsdk_handle source) {
    object(source).removeSink(&sink(replay));
}

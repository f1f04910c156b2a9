#define _XOPEN_SOURCE 700

#include "desk_replay.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "host_help.h"
#include "replay_feed.h"

enum { REPLAYED_MS = 2000, GRACE_MS = 2000 };
static const double speed = 0.5;

void desk_replay_open(struct desk_replay* replay, quolsdk_handle source) {
    const char* const base = getenv("TMPDIR");
    memset(replay, 0, sizeof *replay);
    replay->handle = quolsdk_replay_create();
    snprintf(replay->folder, sizeof replay->folder, "%.200s/vision_mixer_XXXXXX",
             base != NULL && base[0] != '\0' ? base : "/tmp");
    if (mkdtemp(replay->folder) == NULL) replay->folder[0] = '\0';
    quolsdk_replay_set_record_path(replay->handle, replay->folder, "programme");
    if (replay->folder[0] != '\0' && quolsdk_replay_start_recording(replay->handle)) {
        replay->source = source;
        feed_replay(replay->handle, source);
    } else {
        printf("  NO REPLAY: there is no place to store it\n");
    }
}

void desk_replay_close(struct desk_replay* replay) {
    if (replay->source != NULL) starve_replay(replay->handle, replay->source);
    quolsdk_replay_clear_recording(replay->handle);
    quolsdk_replay_destroy(replay->handle);
    if (replay->folder[0] != '\0') rmdir(replay->folder);
}

int desk_replay_play(struct desk_replay* replay) {
    const double last = quolsdk_replay_duration_get(replay->handle);
    const double first = last > REPLAYED_MS ? last - REPLAYED_MS : 0.0;
    if (last <= 0.0) return 0;
    replay->playing = 1;
    replay->last_ms = last;
    replay->limit_ms = now_ms() + (last - first) / speed + GRACE_MS;
    quolsdk_replay_set_speed(replay->handle, speed);
    quolsdk_replay_pos_set_ms(replay->handle, first);
    quolsdk_replay_play(replay->handle);
    return 1;
}

void desk_replay_stop(struct desk_replay* replay) {
    quolsdk_replay_pause(replay->handle);
    replay->playing = 0;
}

int desk_replay_over(const struct desk_replay* replay) {
    return quolsdk_replay_pos_ms_get(replay->handle) >= replay->last_ms ||
           now_ms() >= replay->limit_ms;
}

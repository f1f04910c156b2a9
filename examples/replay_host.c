/* Instant replay in C: records a clip, or a colour that changes, plays its last ten seconds at half
 * speed into a movie, and exports the same ten seconds as they were recorded, while recording goes
 * on.
 *
 *     replay_host SECONDS FOLDER [CLIP]
 *
 * A clip goes on in a loop, and its times begin anew with each pass; a mixer that shows it gives
 * times that run on.
 *
 * SECONDS is for how long to record before the replay. FOLDER gets the recording's two files, which
 * are removed at the end, "slow.mp4" and "export.mov".
 *
 * Exit status: 0 done; 1 something could not be written or played (the text says what); 2 wrong
 * use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_help.h"
#include "replay_feed.h"
#include "usage.h"

enum { STEP_MS = 100, PATH = 4096, REPLAYED_MS = 10000 };

static const quolsdk_video_format format = {13, 0, 0, 0.0, 0}; /* 1920x1080 at 50 */

static void path_in(char* path, const char* folder, const char* name) {
    snprintf(path, PATH, "%s/%s", folder, name);
}

/* What is recorded: a mixer that shows the clip with its sound, or a signal where there is none. */
struct source {
    quolsdk_handle clip;
    quolsdk_handle shown;
};

/* 0 when the clip cannot be played. */
static int make_source(struct source* source, const char* path) {
    source->clip = NULL;
    if (path == NULL) {
        source->shown = quolsdk_signal_create(); /* 1280x720 at 50: recorded so, played larger */
        quolsdk_signal_start(source->shown);
        return 1;
    }
    source->clip = play_looped(path, &format);
    if (source->clip == NULL) return 0;
    source->shown = quolsdk_mixer_create();
    quolsdk_mixer_set_video_format(source->shown, &format);
    quolsdk_mixer_add_layer(source->shown, "clip", source->clip);
    quolsdk_mixer_set_layer_size(source->shown, "clip", (float)format.width, (float)format.height);
    quolsdk_mixer_set_layer_audio(source->shown, "clip", 1, 100);
    quolsdk_file_pos_set(source->clip, 0.0);
    return 1;
}

static void end_source(struct source* source) {
    if (source->clip != NULL) {
        quolsdk_mixer_destroy(source->shown);
        quolsdk_file_destroy(source->clip);
    } else {
        quolsdk_signal_destroy(source->shown);
    }
}

/* Records for a while. Without a clip the picture goes from black to white once a second. */
static void record_for(quolsdk_handle replay, quolsdk_handle source, const char* clip,
                       int seconds) {
    char line[PROGRESS_LINE], color[8];
    int passed;
    for (passed = 0; passed <= seconds * 1000; passed += STEP_MS) {
        const unsigned level = (unsigned)(passed % 1000 * 255 / 1000);
        snprintf(color, sizeof color, "#%02X%02X%02X", level, level, level);
        if (clip == NULL) quolsdk_signal_set_color(source, color);
        snprintf(line, sizeof line, "  recording %5.1f s: %d frames", passed / 1000.0,
                 quolsdk_replay_total_frames_get(replay));
        progress(line, passed + STEP_MS > seconds * 1000);
        wait_ms(STEP_MS);
    }
}

struct part {
    quolsdk_handle replay;
    double first_ms;
    double last_ms;
};

/* Plays the part at half speed to its end. */
static void play_slowly(void* data) {
    const struct part* part = data;
    char line[PROGRESS_LINE], timecode[16];
    double at = part->first_ms;
    quolsdk_replay_set_speed(part->replay, 0.5);
    quolsdk_replay_pos_set_ms(part->replay, part->first_ms);
    quolsdk_replay_play(part->replay);
    while (at < part->last_ms) {
        wait_ms(STEP_MS);
        at = quolsdk_replay_pos_ms_get(part->replay);
        quolsdk_replay_timecode_get(part->replay, timecode, sizeof timecode);
        snprintf(line, sizeof line, "  playing %6.2f s at half speed, time code %s", at / 1000.0,
                 timecode);
        progress(line, at >= part->last_ms);
    }
    quolsdk_replay_pause(part->replay);
}

/* 1 when both movies were written. */
static int replay_and_export(quolsdk_handle replay, const char* folder) {
    char slow[PATH], whole[PATH];
    struct part part;
    int exported, recorded;
    part.replay = replay;
    part.last_ms = quolsdk_replay_duration_get(replay);
    part.first_ms = part.last_ms > REPLAYED_MS ? part.last_ms - REPLAYED_MS : 0.0;
    path_in(slow, folder, "slow.mp4");
    path_in(whole, folder, "export.mov");
    recorded = record_while(replay, &format, slow, play_slowly, &part);
    exported = quolsdk_replay_export_range_ms(replay, part.first_ms, part.last_ms, whole);
    printf("  %s %s\n", exported ? "exported" : "CANNOT EXPORT to", whole);
    return recorded && exported;
}

int main(int argc, char** argv) {
    const int seconds = argc > 2 ? atoi(argv[1]) : 0;
    const char* clip = argc > 3 ? argv[3] : NULL;
    struct source source;
    quolsdk_handle replay;
    int done = 0;
    if (seconds < 1) {
        return tell_usage(argc, argv, "SECONDS FOLDER [CLIP]",
                          "record for an instant replay, play it at half speed, export it");
    }
    if (!make_source(&source, clip)) return 1;
    replay = quolsdk_replay_create();
    quolsdk_replay_set_record_path(replay, argv[2], "match");
    if (quolsdk_replay_start_recording(replay)) {
        feed_replay(replay, source.shown);
        record_for(replay, source.shown, clip, seconds);
        done = replay_and_export(replay, argv[2]);
        printf("  %d frames when it was done\n", quolsdk_replay_total_frames_get(replay));
    } else {
        printf("  CANNOT RECORD into %s\n", argv[2]);
    }
    starve_replay(replay, source.shown);
    quolsdk_replay_clear_recording(replay);
    quolsdk_replay_destroy(replay);
    end_source(&source);
    return done ? 0 : 1;
}

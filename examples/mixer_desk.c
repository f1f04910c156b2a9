#include "mixer_desk.h"

#include <stdio.h>
#include <stdlib.h>

#include "desk_monitors.h"
#include "desk_replay.h"
#include "desk_sources.h"
#include "host_help.h"

enum { WIDTH = 1280, HEIGHT = 720, FPS = 25, FADE_MS = 1000, SETTLE_MS = 200, WORDS = 80 };

static const quolsdk_video_format programme = {0, WIDTH, HEIGHT, FPS, 1};

struct mixer_desk {
    struct desk_source sources[DESK_SOURCES];
    quolsdk_handle titles;
    quolsdk_handle switcher; /* the clean feed and the title */
    struct desk_replay replay;
    quolsdk_handle mixer; /* what goes out: the switcher, or the replay over it */
    quolsdk_handle recorder;
    struct desk_monitors monitors;
    int on_air, next; /* inputs */
    int has_title, title_shown;
    double fade_ends; /* by now_ms(); 0 while none runs */
    char words[WORDS];
};

/* -------------------------------------------------------------------------------- the graph */

static void build_switcher(struct mixer_desk* desk, const char* titles) {
    desk->titles = quolsdk_character_create();
    desk->has_title = titles != NULL;
    if (desk->has_title) quolsdk_character_load_from_xml(desk->titles, titles);
    quolsdk_character_show_item(desk->titles, "lowerthird", 0);
    quolsdk_character_show_item(desk->titles, "crawl", 0);
    quolsdk_character_show_item(desk->titles, "logo", 0);

    desk->switcher = quolsdk_switcher_create();
    quolsdk_switcher_set_props(desk->switcher, "timecode", "true");
    quolsdk_switcher_set_props(desk->switcher, "timecodeSource", "0");
    quolsdk_switcher_set_cg(desk->switcher, desk->titles);
}

/* The replay records what goes out, at its rate: the switcher counts its pictures at its own, also
 * when the mixer asks for fewer. It lies over the switcher, where the operator goes on working. */
static void build_programme(struct mixer_desk* desk) {
    desk->mixer = quolsdk_mixer_create();
    quolsdk_mixer_set_video_format(desk->mixer, &programme);
    quolsdk_mixer_add_layer(desk->mixer, "switcher", desk->switcher);
    quolsdk_mixer_set_layer_size(desk->mixer, "switcher", WIDTH, HEIGHT);
    quolsdk_mixer_set_layer_audio(desk->mixer, "switcher", 1, 100);
    desk_replay_open(&desk->replay, desk->mixer);
}

static int start_recording(struct mixer_desk* desk, const char* path) {
    int status = 0;
    desk->recorder = quolsdk_recorder_create();
    quolsdk_recorder_set_source(desk->recorder, desk->mixer);
    quolsdk_recorder_file_name_set(desk->recorder, path);
    quolsdk_recorder_set_video_format(desk->recorder, &programme);
    quolsdk_recorder_custom_set(desk->recorder, "preset=veryfast");
    quolsdk_recorder_start(desk->recorder);
    quolsdk_recorder_status_get(desk->recorder, &status);
    if (status == 0) printf("  CANNOT RECORD to %s: the error above says why\n", path);
    return status != 0;
}

static void open_monitors(struct mixer_desk* desk, const struct desk_window* window) {
    int i;
    desk_monitors_open(&desk->monitors, window);
    for (i = 0; i < DESK_SOURCES; ++i) {
        desk_monitors_tile(&desk->monitors, i, desk->sources[i].handle, desk->sources[i].name);
    }
    desk_monitors_tile(&desk->monitors, DESK_REPLAY, desk->replay.handle, "Replay");
    desk_monitors_tile(&desk->monitors, DESK_TITLES, desk->titles, "Title");
    desk_monitors_tile(&desk->monitors, DESK_CLEAN, desk->switcher, "Switcher");
    desk_monitors_programme(&desk->monitors, desk->mixer);
}

/* -------------------------------------------------------------------------------- monitors */

static enum desk_tally tally_of(const struct mixer_desk* desk, int input) {
    const int seen = input == desk->on_air || (desk->fade_ends > 0.0 && input == desk->next);
    if (seen && !desk->replay.playing) return DESK_ON_AIR;
    return input == desk->next ? DESK_NEXT : DESK_IDLE;
}

static void show_tally(struct mixer_desk* desk) {
    int i;
    for (i = 0; i < DESK_SOURCES; ++i) {
        desk_monitors_tally(&desk->monitors, i, tally_of(desk, i));
    }
    desk_monitors_tally(&desk->monitors, DESK_REPLAY,
                        desk->replay.playing ? DESK_ON_AIR : DESK_IDLE);
    desk_monitors_tally(&desk->monitors, DESK_TITLES,
                        desk->title_shown && !desk->replay.playing ? DESK_ON_AIR : DESK_IDLE);
    desk_monitors_on_air(&desk->monitors,
                         desk->replay.playing ? "Replay" : desk->sources[desk->on_air].name);
}

static void show_preview(struct mixer_desk* desk) {
    desk_monitors_preview(&desk->monitors, &desk->sources[desk->next]);
    show_tally(desk);
}

static const char* say(struct mixer_desk* desk, const char* what, int input) {
    snprintf(desk->words, sizeof desk->words, "%s %s", what, desk->sources[input].name);
    return desk->words;
}

/* ------------------------------------------------------------------------------------ keys */

static const char* select_input(struct mixer_desk* desk, int input) {
    desk->next = input;
    quolsdk_switcher_set_preview(desk->switcher, desk->sources[input].handle);
    show_preview(desk);
    return say(desk, "preview", input);
}

static void change_places(struct mixer_desk* desk) {
    const int on_air = desk->on_air;
    desk->on_air = desk->next;
    desk->next = on_air;
    show_preview(desk);
}

static const char* cut(struct mixer_desk* desk) {
    quolsdk_switcher_cut(desk->switcher);
    change_places(desk);
    return say(desk, "cut to", desk->on_air);
}

/* The switcher fades on a thread of its own, which a busy machine may hold up a little: what is on
 * preview must not change before it is through. */
static const char* fade(struct mixer_desk* desk) {
    quolsdk_switcher_fade(desk->switcher, FADE_MS);
    desk->fade_ends = now_ms() + FADE_MS + SETTLE_MS;
    show_tally(desk);
    return say(desk, "fade to", desk->next);
}

static const char* toggle_title(struct mixer_desk* desk) {
    if (!desk->has_title) return NULL;
    desk->title_shown = !desk->title_shown;
    quolsdk_character_show_item(desk->titles, "lowerthird", desk->title_shown);
    show_tally(desk);
    return desk->title_shown ? "title in" : "title out";
}

static const char* end_replay(struct mixer_desk* desk) {
    quolsdk_mixer_remove_layer(desk->mixer, "replay");
    desk_replay_stop(&desk->replay);
    show_tally(desk);
    return say(desk, "replay over, back to", desk->on_air);
}

/* The layer is made anew each time: it shows nothing until the replay's first picture comes, where
 * an older one would show the last picture of the replay before. */
static const char* toggle_replay(struct mixer_desk* desk) {
    if (desk->replay.playing) return end_replay(desk);
    quolsdk_mixer_add_layer(desk->mixer, "replay", desk->replay.handle);
    quolsdk_mixer_set_layer_size(desk->mixer, "replay", WIDTH, HEIGHT);
    quolsdk_mixer_set_layer_z_index(desk->mixer, "replay", 1);
    if (!desk_replay_play(&desk->replay)) {
        quolsdk_mixer_remove_layer(desk->mixer, "replay");
        return NULL;
    }
    show_tally(desk);
    return "replay at half speed";
}

const char* mixer_desk_press(struct mixer_desk* desk, char key) {
    const int locked = desk->fade_ends > 0.0;
    if (key == 't') return toggle_title(desk);
    if (key == 'r') return toggle_replay(desk);
    if (locked) return NULL;
    if (key >= '1' && key < '1' + DESK_SOURCES) return select_input(desk, key - '1');
    if (key == ' ') return cut(desk);
    if (key == '\n') return fade(desk);
    return NULL;
}

const char* mixer_desk_tick(struct mixer_desk* desk) {
    if (desk->fade_ends > 0.0 && now_ms() >= desk->fade_ends) {
        desk->fade_ends = 0.0;
        change_places(desk);
        return say(desk, "faded to", desk->on_air);
    }
    if (desk->replay.playing && desk_replay_over(&desk->replay)) return end_replay(desk);
    return NULL;
}

/* --------------------------------------------------------------------------- open and close */

struct mixer_desk* mixer_desk_open(const struct mixer_desk_files* files,
                                   const struct desk_window* window) {
    struct mixer_desk* const desk = calloc(1, sizeof *desk);
    if (desk == NULL) return NULL;
    desk->next = 1;
    if (!desk_sources_make(desk->sources, files->clips, files->clip_count)) {
        desk_sources_destroy(desk->sources);
        free(desk);
        return NULL;
    }
    build_switcher(desk, files->titles);
    quolsdk_switcher_set_program(desk->switcher, desk->sources[desk->on_air].handle);
    quolsdk_switcher_set_preview(desk->switcher, desk->sources[desk->next].handle);
    build_programme(desk);
    open_monitors(desk, window);
    show_preview(desk);
    desk_sources_play(desk->sources);
    if (start_recording(desk, files->recording)) return desk;
    mixer_desk_close(desk);
    return NULL;
}

static int end_recording(struct mixer_desk* desk) {
    int written = 0, dropped = 0;
    double seconds = 0.0;
    quolsdk_recorder_stop(desk->recorder);
    quolsdk_recorder_get_stats(desk->recorder, NULL, &seconds, &written, &dropped, NULL, 0);
    quolsdk_recorder_destroy(desk->recorder);
    printf("  recorded %.2f s, %d pictures, %d dropped\n", seconds, written, dropped);
    return written > 0;
}

int mixer_desk_close(struct mixer_desk* desk) {
    const int recorded = end_recording(desk);
    /* From the last link of the chain to the first: nobody outlives what it shows. */
    desk_monitors_close(&desk->monitors);
    quolsdk_mixer_remove_layer(desk->mixer, "replay"); /* shows the mixer and is shown by it */
    desk_replay_close(&desk->replay);
    quolsdk_mixer_destroy(desk->mixer);
    quolsdk_switcher_destroy(desk->switcher);
    quolsdk_character_destroy(desk->titles);
    desk_sources_destroy(desk->sources);
    free(desk);
    return recorded;
}

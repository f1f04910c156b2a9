#include "desk_sources.h"

#include <stdio.h>
#include <string.h>

#include "host_help.h"

static const char* file_name(const char* path) {
    const char* const slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

static quolsdk_handle make_colour(const char* colour) {
    quolsdk_handle const signal = quolsdk_signal_create();
    quolsdk_signal_set_color(signal, colour);
    quolsdk_signal_start(signal);
    return signal;
}

static quolsdk_handle make_bars(void) {
    quolsdk_handle const live = quolsdk_live_create();
    int devices = 0;
    quolsdk_live_device_get_count(live, &devices);
    quolsdk_live_device_set(live, devices - 1); /* the test signal is always the last */
    quolsdk_live_device_channel_set(live, 0);
    quolsdk_live_set_props(live, "timecode", "true");
    quolsdk_live_start(live);
    return live;
}

int desk_sources_make(struct desk_source sources[DESK_SOURCES], const char* const* clips,
                      int count) {
    static const char* const colours[DESK_SOURCES - 1] = {"#B02828", "#207838", "#2848B0"};
    static const char* const names[DESK_SOURCES] = {"Red", "Green", "Blue", "Bars"};
    int i, made = 1;
    memset(sources, 0, DESK_SOURCES * sizeof *sources);
    for (i = 0; made && i < DESK_SOURCES; ++i) {
        struct desk_source* const source = &sources[i];
        const char* const name = i < count ? file_name(clips[i]) : names[i];
        snprintf(source->name, sizeof source->name, "%d %.28s", i + 1, name);
        if (i < count) {
            source->handle = play_looped(clips[i], NULL);
            source->destroy = quolsdk_file_destroy;
        } else if (i < DESK_SOURCES - 1) {
            source->handle = make_colour(colours[i]);
            source->destroy = quolsdk_signal_destroy;
        } else {
            source->handle = make_bars();
            source->destroy = quolsdk_live_destroy;
        }
        made = source->handle != NULL;
    }
    return made;
}

void desk_sources_play(struct desk_source sources[DESK_SOURCES]) {
    int i;
    for (i = 0; i < DESK_SOURCES; ++i) {
        if (sources[i].destroy == quolsdk_file_destroy)
            quolsdk_file_pos_set(sources[i].handle, 0.0);
    }
}

void desk_sources_destroy(struct desk_source sources[DESK_SOURCES]) {
    int i;
    for (i = 0; i < DESK_SOURCES; ++i) {
        if (sources[i].handle != NULL) sources[i].destroy(sources[i].handle);
    }
}

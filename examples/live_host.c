/* A host in C that records what comes over the network: it waits for a VTP source of that name,
 * receives it and records it, until the seconds are over or the sender goes.
 *
 *     live_host SECONDS RECORDING.mp4 [NAME [INTERFACE [SECRET]]]
 *
 * INTERFACE is the network interface to look for sources on; without one, or with "", only those of
 * this machine are found. SECRET is what the sender was given, if it was given one.
 *
 * Exit status: 0 done, 1 nothing came or it cannot be recorded, 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_help.h"
#include "usage.h"

enum { WAIT_MS = 10000, STEP_MS = 100, TEXT = 256 };

/* What is being recorded. */
struct reception {
    quolsdk_handle live;
    int device;
    const char* name;
    int seconds;
};

/* The number of the device that receives VTP; -1 when there is none. */
static int find_device(quolsdk_handle live) {
    char name[TEXT], description[TEXT];
    int count = 0, i, found = -1;
    quolsdk_live_device_get_count(live, &count);
    for (i = 0; i < count; ++i) {
        quolsdk_live_device_get_by_index(live, i, name, sizeof name, description,
                                         sizeof description);
        printf("  device %d: %s%s%s\n", i, name, description[0] ? ", " : "", description);
        if (strcmp(name, "VTP Receiver") == 0) found = i;
    }
    return found;
}

/* Whether a channel, "name (host:port)", is the source of that name. */
static int is_source(const char* channel, const char* name) {
    const size_t length = strlen(name);
    return strncmp(channel, name, length) == 0 && strncmp(channel + length, " (", 2) == 0 &&
           strchr(channel + length + 2, '(') == NULL;
}

/* The channel that the source is on now; -1 when nobody of that name is heard. */
static int find_source(quolsdk_handle live, int device, const char* name) {
    char channel[TEXT];
    int count = 0, i;
    quolsdk_live_device_channel_get_count(live, device, &count);
    for (i = 0; i < count; ++i) {
        quolsdk_live_device_channel_get_by_index(live, device, i, channel, sizeof channel);
        if (is_source(channel, name)) return i;
    }
    return -1;
}

/* The channel of the source, which may take a while to be heard; -1 when it is not. */
static int wait_for_source(quolsdk_handle live, int device, const char* name) {
    char line[PROGRESS_LINE];
    int passed = 0, channel = find_source(live, device, name);
    for (; channel < 0 && passed < WAIT_MS; passed += STEP_MS) {
        wait_ms(STEP_MS);
        channel = find_source(live, device, name);
        snprintf(line, sizeof line, "  waiting for \"%.40s\" %4.1f s", name, passed / 1000.0);
        progress(line, 0);
    }
    snprintf(line, sizeof line, "  \"%.40s\" %s", name,
             channel < 0 ? "IS NOT HEARD OF" : "is there");
    progress(line, 1);
    return channel;
}

/* Watches the source while it is recorded. */
static void watch(void* data) {
    const struct reception* reception = data;
    const int end = reception->seconds * 1000;
    char line[PROGRESS_LINE];
    int passed, there = 1;
    for (passed = 0; there && passed <= end; passed += STEP_MS) {
        there = find_source(reception->live, reception->device, reception->name) >= 0;
        snprintf(line, sizeof line, "  recording %5.1f s of %d%s", passed / 1000.0,
                 reception->seconds, there ? "" : ", the sender has gone");
        progress(line, !there || passed + STEP_MS > end);
        wait_ms(STEP_MS);
    }
}

/* Receives the source and records it. 0 when nothing was recorded. */
static int receive(quolsdk_handle live, const char* name, int seconds, const char* recording) {
    const quolsdk_video_format format = {4, 0, 0, 0.0, 0}; /* 1280x720 at 50 */
    struct reception reception = {live, find_device(live), name, seconds};
    const int channel = wait_for_source(live, reception.device, name);
    int recorded;
    if (channel < 0) return 0;
    quolsdk_live_device_set(live, reception.device);
    quolsdk_live_device_channel_set(live, channel);
    quolsdk_live_format_set(live, 0);
    quolsdk_live_start(live);
    recorded = record_while(live, &format, recording, watch, &reception);
    quolsdk_live_stop(live); /* sinks first, then sources */
    return recorded;
}

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? atoi(argv[1]) : 0;
    const char* name = argc > 3 ? argv[3] : "VTP_Output"; /* as an output calls it */
    quolsdk_handle live;
    int recorded;
    if (seconds < 1 || argc < 3) {
        return tell_usage(argc, argv, "SECONDS RECORDING.mp4 [NAME [INTERFACE [SECRET]]]",
                          "record what a VTP source on the network sends");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    live = quolsdk_live_create();
    if (argc > 4) quolsdk_live_set_props(live, "vtp_interface", argv[4]);
    if (argc > 5) quolsdk_live_set_props(live, "vtp_secret", argv[5]);
    recorded = receive(live, name, seconds, argv[2]);
    quolsdk_live_destroy(live);
    return recorded ? 0 : 1;
}

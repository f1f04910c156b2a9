/* A host in C that puts a clip out on the network: it lists the devices and formats there are,
 * plays the clip without an end and sends it by VTP for some seconds. Without a clip it sends a
 * colour. The same on another device: set its number in place of "VTP Output".
 *
 *     output_host SECONDS [CLIP [NAME [INTERFACE [SECRET]]]]
 *
 * NAME is the stream's name on the network, INTERFACE the network interface to send on; without
 * one, or with "", the stream stays on this machine. SECRET is what a receiver has to know.
 *
 * Exit status: 0 done, 1 the clip cannot be played (the text says why), 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_help.h"
#include "usage.h"

enum { STEP_MS = 100, TEXT = 64 };

static const char* const device_name = "VTP Output";
static const char* const format_name = "1280x720p50";

/* The number of a device by its name; -1 when there is none. */
static int find_device(quolsdk_handle output) {
    char name[TEXT], description[TEXT];
    int count = 0, i, found = -1;
    quolsdk_output_device_get_count(output, &count);
    for (i = 0; i < count; ++i) {
        quolsdk_output_device_get_by_index(output, i, name, sizeof name, description,
                                           sizeof description);
        printf("  device %d: %s%s%s\n", i, name, description[0] ? ", " : "", description);
        if (strcmp(name, device_name) == 0) found = i;
    }
    return found;
}

/* The number of one of its formats. */
static int find_format(quolsdk_handle output, int device) {
    char name[TEXT];
    int count = 0, i;
    quolsdk_output_format_get_count(output, device, 0, &count);
    for (i = 0; i < count; ++i) {
        quolsdk_output_format_get_by_index(output, device, 0, i, name, sizeof name);
        if (strcmp(name, format_name) == 0) return i;
    }
    return -1;
}

static void send_for(int seconds) {
    char line[PROGRESS_LINE];
    int passed;
    for (passed = 0; passed <= seconds * 1000; passed += STEP_MS) {
        snprintf(line, sizeof line, "  sending %5.1f s of %d", passed / 1000.0, seconds);
        progress(line, passed + STEP_MS > seconds * 1000);
        wait_ms(STEP_MS);
    }
}

/* What the stream is on the network; null where the output's own will do. */
struct stream {
    const char* name;
    const char* interface;
    const char* secret;
};

/* Sends the source, a clip or a signal, which must outlive the output. A clip begins anew. */
static void send_source(quolsdk_handle source, quolsdk_handle clip, int seconds,
                        const struct stream* stream) {
    quolsdk_handle output = quolsdk_output_create();
    const int device = find_device(output);
    quolsdk_output_device_set(output, device);
    quolsdk_output_format_set(output, find_format(output, device));
    if (stream->name != NULL) quolsdk_output_set_props(output, "stream_name", stream->name);
    if (stream->interface != NULL)
        quolsdk_output_set_props(output, "vtp_interface", stream->interface);
    if (stream->secret != NULL) quolsdk_output_set_props(output, "vtp_secret", stream->secret);
    quolsdk_output_set_source(output, source);
    quolsdk_output_start(output);
    quolsdk_file_pos_set(clip, 0.0); /* what there is not is passed over */
    send_for(seconds);
    quolsdk_output_stop(output); /* sinks first, then sources */
    quolsdk_output_set_source(output, NULL);
    quolsdk_output_destroy(output);
}

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? atoi(argv[1]) : 0;
    const char* clip = argc > 2 ? argv[2] : "";
    const struct stream stream = {argc > 3 ? argv[3] : NULL, argc > 4 ? argv[4] : NULL,
                                  argc > 5 ? argv[5] : NULL};
    if (seconds < 1) {
        return tell_usage(argc, argv, "SECONDS [CLIP [NAME [INTERFACE [SECRET]]]]",
                          "send a clip or a colour over the network by VTP");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    if (clip[0] != '\0') {
        const quolsdk_video_format format = {4, 0, 0, 0.0, 0}; /* 1280x720 at 50, as the output's */
        quolsdk_handle file = play_looped(clip, &format);
        if (file == NULL) return 1;
        send_source(file, file, seconds, &stream);
        quolsdk_file_destroy(file);
    } else {
        quolsdk_handle signal = quolsdk_signal_create(); /* 1280x720 at 50 unless told otherwise */
        quolsdk_signal_set_color(signal, "#2060C0");
        quolsdk_signal_start(signal);
        send_source(signal, NULL, seconds, &stream);
        quolsdk_signal_destroy(signal);
    }
    return 0;
}

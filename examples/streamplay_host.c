/* A host in C that plays a stream of the network and records it. A server that is not there yet is
 * waited for, and one that goes and comes back goes on in the same file.
 *
 *     streamplay_host SECONDS RECORDING.mp4 URL
 *
 * Exit status: 0 done, 1 nothing came or it cannot be recorded, 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <stdlib.h>

#include "host_help.h"
#include "usage.h"

enum { STEP_MS = 100 };

static void watch(void* data) {
    const int end = *(const int*)data * 1000;
    char line[PROGRESS_LINE];
    int passed;
    for (passed = 0; passed <= end; passed += STEP_MS) {
        snprintf(line, sizeof line, "  playing and recording %5.1f s of %d", passed / 1000.0,
                 end / 1000);
        progress(line, passed + STEP_MS > end);
        wait_ms(STEP_MS);
    }
}

int main(int argc, char** argv) {
    const quolsdk_video_format format = {0, 1280, 720, 25.0, 0};
    int seconds = argc > 1 ? atoi(argv[1]) : 0;
    quolsdk_handle player;
    int recorded;
    if (seconds < 1 || argc < 4) {
        return tell_usage(argc, argv, "SECONDS RECORDING.mp4 URL",
                          "play a stream of the network and record it");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    player = quolsdk_streamplay_create();
    quolsdk_streamplay_url_set(player, argv[3]);
    quolsdk_streamplay_play(player);
    recorded = record_while(player, &format, argv[2], watch, &seconds);
    quolsdk_streamplay_stop(player); /* sinks first, then sources */
    quolsdk_streamplay_destroy(player);
    return recorded ? 0 : 1;
}

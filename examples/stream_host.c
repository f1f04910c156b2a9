/* A host in C that goes live: it plays a clip without an end, sends it to a server and records what
 * it sends, both at the clip's own size and rate. A mixer in between would give them another.
 *
 *     stream_host SECONDS CLIP RECORDING.mp4 URL [KEY]
 *
 * The address is URL, or URL/KEY: rtmp://server/application and the name of the stream there, or
 * whatever else FFmpeg writes to.
 *
 * Exit status: 0 done, 1 the clip, the address or the recording is not to be had (the text says
 * why), 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <stdlib.h>

#include "host_help.h"
#include "usage.h"

enum { STEP_MS = 100 };

static void stay_live(void* data) {
    const int end = *(const int*)data * 1000;
    char line[PROGRESS_LINE];
    int passed;
    for (passed = 0; passed <= end; passed += STEP_MS) {
        snprintf(line, sizeof line, "  live and recording %5.1f s of %d", passed / 1000.0,
                 end / 1000);
        progress(line, passed + STEP_MS > end);
        wait_ms(STEP_MS);
    }
}

/* Goes live with a clip, and records it as long. 0 when it does not come to that. */
static int go_live(quolsdk_handle clip, const char* url, const char* key, int seconds,
                   const char* recording) {
    const quolsdk_video_format format = {1, 0, 0, 0.0, 0}; /* the player's own */
    quolsdk_handle stream = quolsdk_stream_create();
    int recorded = 0;
    quolsdk_stream_object(stream, clip);
    quolsdk_stream_url_set(stream, url);
    quolsdk_stream_key_set(stream, key);
    if (quolsdk_stream_start(stream)) { /* a server may take its time */
        quolsdk_file_pos_set(clip, 0.0);
        recorded = record_while(clip, &format, recording, stay_live, &seconds);
        quolsdk_stream_stop(stream); /* sinks first, then sources */
    } else {
        printf("  NOT LIVE: the error above says why\n");
    }
    quolsdk_stream_destroy(stream);
    return recorded;
}

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? atoi(argv[1]) : 0;
    quolsdk_handle clip;
    int done;
    if (seconds < 1 || argc < 5) {
        return tell_usage(argc, argv, "SECONDS CLIP RECORDING.mp4 URL [KEY]",
                          "send a clip to a streaming server and record what is sent");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    clip = play_looped(argv[2], NULL);
    if (clip == NULL) return 1;
    done = go_live(clip, argv[4], argc > 5 ? argv[5] : "", seconds, argv[3]);
    quolsdk_file_destroy(clip);
    return done ? 0 : 1;
}

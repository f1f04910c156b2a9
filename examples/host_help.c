#define _POSIX_C_SOURCE 200809L

#include "host_help.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

void wait_ms(long ms) {
    struct timespec left = {ms / 1000, ms % 1000 * 1000000L};
    while (nanosleep(&left, &left) != 0) {
    }
}

void progress(const char* text, int last) {
    if (isatty(STDOUT_FILENO)) {
        printf("\r%-*s", PROGRESS_LINE, text);
    } else if (last) {
        printf("%s", text);
    }
    if (last) printf("\n");
    fflush(stdout);
}

int record_while(quolsdk_handle source, const quolsdk_video_format* format, const char* path,
                 void (*run)(void* data), void* data) {
    quolsdk_handle recorder = quolsdk_recorder_create();
    int status = 0, written = 0, dropped = 0;
    double seconds = 0.0;
    quolsdk_recorder_set_source(recorder, source);
    quolsdk_recorder_file_name_set(recorder, path);
    quolsdk_recorder_set_video_format(recorder, format);
    quolsdk_recorder_custom_set(recorder, "preset=veryfast");
    quolsdk_recorder_start(recorder);
    quolsdk_recorder_status_get(recorder, &status);
    if (status != 0) {
        run(data);
        quolsdk_recorder_stop(recorder);
        quolsdk_recorder_get_stats(recorder, NULL, &seconds, &written, &dropped, NULL, 0);
        printf("  recorded %.2f s, %d pictures, %d dropped\n", seconds, written, dropped);
    } else {
        printf("  CANNOT RECORD to %s: the error above says why\n", path);
    }
    quolsdk_recorder_destroy(recorder);
    return written > 0;
}

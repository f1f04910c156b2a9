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

double now_ms(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec * 1000.0 + (double)now.tv_nsec / 1000000.0;
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

quolsdk_handle play_looped(const char* path, const quolsdk_video_format* format) {
    quolsdk_handle clip = quolsdk_file_create();
    int status = 0;
    if (format != NULL) quolsdk_file_set_video_format(clip, format);
    quolsdk_file_name_set(clip, path);
    quolsdk_file_set_props(clip, "loop", "true");
    quolsdk_file_play(clip);
    quolsdk_file_pause(clip, 0.0);
    quolsdk_file_status_get(clip, &status);
    if (status != 0) return clip;
    printf("  CANNOT PLAY %s\n", path);
    quolsdk_file_destroy(clip);
    return NULL;
}

quolsdk_handle mix_over(quolsdk_handle clip, quolsdk_handle overlay,
                        const quolsdk_video_format* format) {
    const float width = (float)format->width;
    const float height = (float)format->height;
    quolsdk_handle mixer = quolsdk_mixer_create();
    quolsdk_mixer_set_video_format(mixer, format);
    quolsdk_mixer_add_layer(mixer, "clip", clip);
    quolsdk_mixer_set_layer_size(mixer, "clip", width, height);
    quolsdk_mixer_set_layer_audio(mixer, "clip", 1, 100);
    quolsdk_mixer_add_layer(mixer, "overlay", overlay);
    quolsdk_mixer_set_layer_z_index(mixer, "overlay", 1);
    quolsdk_mixer_set_layer_size(mixer, "overlay", width, height);
    quolsdk_file_pos_set(clip, 0.0);
    return mixer;
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

/* A host in C that uses nothing but the C header: it plays a media file as a source, records ten
 * seconds of it at another size and rate, seeks, plays at double speed, loops between two marks
 * (all this into a second recording) and asks about the files.
 *
 *     player_host FILE [RECORDING.mp4 [JUMPS.mp4]]
 *
 * Exit status: 0 done, 1 the file cannot be played (the text says why), 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <string.h>

#include "host_help.h"
#include "usage.h"

enum { RECORD_SECONDS = 10, STEP_MS = 100 };

static int file_status(quolsdk_handle file) {
    int status = 0;
    quolsdk_file_status_get(file, &status);
    return status;
}

/* What the reader says of a file. 0 when it is no media file. */
static int tell_about(quolsdk_handle reader, const char* path) {
    char container[64], video[64], audio[64];
    if (!quolsdk_reader_open(reader, path)) {
        return 0;
    }
    quolsdk_reader_container_get(reader, container, sizeof container);
    quolsdk_reader_video_codec_get(reader, video, sizeof video);
    quolsdk_reader_audio_codec_get(reader, audio, sizeof audio);
    printf("  %s\n    %s, %.2f s, %lld bytes, %.0f kbit/s\n", path, container,
           quolsdk_reader_duration_get(reader) / 1000.0,
           (long long)quolsdk_reader_file_len_get(reader),
           (double)quolsdk_reader_bitrate_get(reader) / 1000.0);
    printf("    picture: %s, %lldx%lld, %.3f a second; sound: %s, %lld channels\n", video,
           (long long)quolsdk_reader_width_get(reader),
           (long long)quolsdk_reader_height_get(reader), quolsdk_reader_fps_get(reader), audio,
           (long long)quolsdk_reader_audio_channels_get(reader));
    return 1;
}

/* Whether there is anything to play in it; says so when there is not. */
static int can_be_played(quolsdk_handle reader, const char* path) {
    if (!tell_about(reader, path)) {
        printf("  CANNOT PLAY %s: no media file that can be read\n", path);
        return 0;
    }
    if (quolsdk_reader_width_get(reader) == 0 && quolsdk_reader_audio_channels_get(reader) == 0) {
        printf("  CANNOT PLAY %s: neither picture nor sound in it\n", path);
        return 0;
    }
    return 1;
}

/* Watches the player for a while. */
static void watch(quolsdk_handle file, const char* what, int ms) {
    char line[PROGRESS_LINE], timecode[16];
    int passed;
    for (passed = 0; passed <= ms; passed += STEP_MS) {
        quolsdk_file_timecode_get(file, timecode, sizeof timecode);
        snprintf(line, sizeof line, "  %-28s %7.2f s   %s", what,
                 quolsdk_file_pos_get(file) / 1000.0, timecode);
        progress(line, passed + STEP_MS > ms);
        wait_ms(STEP_MS);
    }
}

/* Starts a recording at 960x540 and 30 pictures a second. */
static quolsdk_handle start_recorder(quolsdk_handle file, const char* path) {
    const quolsdk_video_format format = {0, 960, 540, 30.0, 0};
    quolsdk_handle recorder = quolsdk_recorder_create();
    char limit[16];
    snprintf(limit, sizeof limit, "%d", RECORD_SECONDS * 1000);
    quolsdk_recorder_set_source(recorder, file);
    quolsdk_recorder_file_name_set(recorder, path);
    quolsdk_recorder_set_video_format(recorder, &format);
    quolsdk_recorder_set_props(recorder, "durationMs", limit);
    quolsdk_recorder_set_props(recorder, "timecode", "true");
    quolsdk_recorder_set_props(recorder, "timecodeSource", "1");
    quolsdk_recorder_custom_set(recorder, "preset=veryfast");
    quolsdk_recorder_start(recorder);
    return recorder;
}

/* Records until the recorder ends by itself. Pictures written, -1 when it could not begin. */
static int record(quolsdk_handle file, const char* path) {
    quolsdk_handle recorder;
    char line[PROGRESS_LINE];
    int status = 0, written = 0, dropped = 0;
    double seconds = 0.0;
    int64_t bytes = 0;

    quolsdk_file_pause(file, 0.0); /* while encoders are opened and nobody listens */
    recorder = start_recorder(file, path);
    quolsdk_recorder_status_get(recorder, &status);
    if (status == 0) written = -1;
    quolsdk_file_pos_set(file, 0.0);
    while (status != 0) {
        wait_ms(STEP_MS);
        quolsdk_recorder_status_get(recorder, &status);
        quolsdk_recorder_get_stats(recorder, &bytes, &seconds, &written, &dropped, NULL, 0);
        snprintf(line, sizeof line, "  recording %3.0f%% %5.2f s, %d pictures, %d dropped, %lld kB",
                 seconds * 100.0 / RECORD_SECONDS, seconds, written, dropped,
                 (long long)bytes / 1000);
        progress(line, status == 0);
    }
    quolsdk_recorder_stop(recorder);
    quolsdk_recorder_destroy(recorder);
    return written;
}

/* Seeks, plays faster, loops; recorded, so that the player has somebody to play to. */
static void jump_about(quolsdk_handle file, const char* recording) {
    const double duration = quolsdk_file_duration_get(file);
    quolsdk_handle recorder = start_recorder(file, recording);
    quolsdk_file_pos_set(file, duration / 2);
    watch(file, "from the middle", 1000);
    quolsdk_file_rate_set(file, 2.0);
    watch(file, "at rate 2", 1500);
    quolsdk_file_rate_set(file, 1.0);
    quolsdk_file_in_out_set(file, duration * 0.25, duration * 0.5);
    quolsdk_file_pos_set(file, duration * 0.25);
    watch(file, "between in and out point", 2500);
    quolsdk_recorder_stop(recorder);
    quolsdk_recorder_destroy(recorder);
}

static int play_and_record(quolsdk_handle file, const char* source, const char* recording,
                           const char* jumps) {
    int written;
    quolsdk_file_name_set(file, source);
    quolsdk_file_set_props(file, "loop", "true");
    quolsdk_file_play(file);
    if (!file_status(file)) {
        printf("  CANNOT PLAY %s: no stream of it can be decoded\n", source);
        return 1;
    }
    if (quolsdk_file_get_width(file) == 0) {
        watch(file, "playing sound", 2000);
        printf("  PLAYED %s: sound only, so there is no picture to record\n", source);
        return 0;
    }
    written = record(file, recording);
    if (written < 0) {
        printf("  CANNOT RECORD to %s: the error above says why\n", recording);
        return 1;
    }
    if (written == 0) {
        printf("  CANNOT PLAY %s: not one picture of it can be decoded\n", source);
        return 1;
    }
    jump_about(file, jumps);
    quolsdk_file_stop(file);
    printf("  PLAYED %s\n", source);
    return 0;
}

int main(int argc, char** argv) {
    const char* recording = argc > 2 ? argv[2] : "recording.mp4";
    const char* jumps = argc > 3 ? argv[3] : "jumps.mp4";
    quolsdk_handle reader, file;
    int result = 1;
    if (argc < 2 || asks_for_help(argc, argv)) {
        return tell_usage(argc, argv, "FILE [RECORDING.mp4 [JUMPS.mp4]]",
                          "play a media file, record it, seek, change its speed and loop");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    reader = quolsdk_reader_create();
    file = quolsdk_file_create();
    /* The pattern of an image sequence is no file that a reader could open. */
    if (strchr(argv[1], '%') != NULL || can_be_played(reader, argv[1])) {
        result = play_and_record(file, argv[1], recording, jumps);
    }
    if (result == 0 && quolsdk_file_get_width(file) > 0 && !tell_about(reader, recording)) {
        result = 1;
    }
    quolsdk_file_destroy(file);
    quolsdk_reader_destroy(reader);
    return result;
}

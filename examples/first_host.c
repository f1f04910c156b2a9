/* Plays a file and records five seconds of it: first_host INPUT RECORDING.mp4 */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    quolsdk_handle file = quolsdk_file_create();
    quolsdk_handle recorder = quolsdk_recorder_create();
    int playing = 0, recording = 0, pictures = 0;
    double seconds = 0.0;

    quolsdk_file_name_set(file, argv[1]);
    quolsdk_file_play(file); /* opens the file: now it has a size and a rate */
    quolsdk_file_pause(file, 0.0);
    quolsdk_file_status_get(file, &playing);

    quolsdk_recorder_set_source(recorder, file);
    quolsdk_recorder_file_name_set(recorder, argv[2]);
    quolsdk_recorder_set_props(recorder, "durationMs", "5000");
    if (playing) quolsdk_recorder_start(recorder);
    quolsdk_file_pos_set(file, 0.0); /* runs on, from its first picture */
    do {
        sleep(1);
        quolsdk_recorder_status_get(recorder, &recording);
    } while (recording);

    quolsdk_recorder_stop(recorder); /* sinks first, then sources */
    quolsdk_recorder_get_stats(recorder, NULL, &seconds, &pictures, NULL, NULL, 0);
    printf("%s: %d pictures, %.2f s\n", argv[2], pictures, seconds);
    quolsdk_recorder_destroy(recorder);
    quolsdk_file_destroy(file);
    return pictures > 0 ? 0 : 1;
}

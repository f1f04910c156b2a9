/* A host in C that mixes: a clip fills the picture, a second one flies in above it as a picture in
 * picture with rounded corners and its sound beneath, a still with alpha stands in a corner, and a
 * downstream key shows a colour through a mask. The programme is recorded.
 *
 *     mixer_host CLIP SECOND_CLIP STILL MASK [RECORDING.mp4]
 *
 * Exit status: 0 done, 1 something cannot be played or recorded (the text says what), 2 wrong use.
 */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>

#include "host_help.h"
#include "usage.h"

enum { WIDTH = 1280, HEIGHT = 720, FPS = 25, STEP_MS = 40 };

/* The scene, in milliseconds from its start. */
enum { INSET_IN = 1500, INSET_THERE = 3000, SWAP = 5500, MASK_ON = 8000, END = 10500 };

static const quolsdk_video_format canvas = {0, WIDTH, HEIGHT, FPS, 1};

/* A signal that shows a colour, or a still. */
static quolsdk_handle show(const char* color, const char* image) {
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_signal_set_color(signal, color);
    quolsdk_signal_set_image(signal, image);
    quolsdk_signal_start(signal);
    return signal;
}

static void place(quolsdk_handle mixer, const char* layer, float x, float y, float width,
                  float height) {
    quolsdk_mixer_set_layer_pos(mixer, layer, x, y);
    quolsdk_mixer_set_layer_size(mixer, layer, width, height);
}

/* What the picture shows at the start: one clip, the still above it, everything else hidden. */
static void build(quolsdk_handle mixer, quolsdk_handle clip, quolsdk_handle second,
                  const char* still, quolsdk_handle fill, quolsdk_handle mask) {
    quolsdk_mixer_set_video_format(mixer, &canvas);
    quolsdk_mixer_add_layer(mixer, "main", clip);
    place(mixer, "main", 0, 0, WIDTH, HEIGHT);
    quolsdk_mixer_set_layer_audio(mixer, "main", 1, 100);

    quolsdk_mixer_add_layer(mixer, "inset", second);
    place(mixer, "inset", WIDTH, 60, 448, 252);
    quolsdk_mixer_set_layer_z_index(mixer, "inset", 10);
    quolsdk_mixer_set_layer_border_radius(mixer, "inset", 12);
    quolsdk_mixer_set_layer_alpha(mixer, "inset", 250); /* corners are rounded below 255 */

    quolsdk_mixer_add_image(mixer, "logo", still);
    quolsdk_mixer_set_layer_z_index(mixer, "logo", 20);
    quolsdk_mixer_set_layer_pos(mixer, "logo", 48, HEIGHT - 150);

    quolsdk_mixer_add_dsk(mixer, "key", fill, mask);
    quolsdk_mixer_set_layer_z_index(mixer, "key", 30);
    place(mixer, "key", 0, 0, WIDTH, HEIGHT);
    quolsdk_mixer_set_layer_visible(mixer, "key", 0);

    quolsdk_file_pos_set(clip, 0.0);
    quolsdk_file_pos_set(second, 0.0);
}

/* Where the inset is on its way in: it slows down towards its place. */
static float inset_left(int ms) {
    const float there = WIDTH - 448 - 60;
    float left;
    if (ms <= INSET_IN) return WIDTH;
    if (ms >= INSET_THERE) return there;
    left = 1.0F - (float)(ms - INSET_IN) / (INSET_THERE - INSET_IN);
    return there + (WIDTH - there) * left * left * left;
}

/* The second clip takes the whole picture, the first one the inset. */
static void swap(quolsdk_handle mixer) {
    place(mixer, "inset", 0, 0, WIDTH, HEIGHT);
    quolsdk_mixer_set_layer_border_radius(mixer, "inset", 0);
    quolsdk_mixer_set_layer_z_index(mixer, "inset", 0);
    quolsdk_mixer_set_layer_audio(mixer, "inset", 1, 100);
    place(mixer, "main", WIDTH - 448 - 60, 60, 448, 252);
    quolsdk_mixer_set_layer_border_radius(mixer, "main", 12);
    quolsdk_mixer_set_layer_alpha(mixer, "main", 250);
    quolsdk_mixer_set_layer_z_index(mixer, "main", 10);
    quolsdk_mixer_set_layer_audio(mixer, "main", 1, 30);
}

static void run(void* mixer) {
    char line[PROGRESS_LINE];
    int ms;
    for (ms = 0; ms <= END; ms += STEP_MS) {
        if (ms <= SWAP - STEP_MS) quolsdk_mixer_set_layer_pos(mixer, "inset", inset_left(ms), 60);
        if (ms / STEP_MS == INSET_IN / STEP_MS)
            quolsdk_mixer_set_layer_audio(mixer, "inset", 1, 30);
        if (ms / STEP_MS == SWAP / STEP_MS) swap(mixer);
        if (ms / STEP_MS == MASK_ON / STEP_MS) quolsdk_mixer_set_layer_visible(mixer, "key", 1);
        snprintf(line, sizeof line, "  mixing %5.1f s of %.1f: clip%s%s%s", ms / 1000.0,
                 END / 1000.0, ms >= INSET_IN ? ", inset" : "", ms >= SWAP ? ", swapped" : "",
                 ms >= MASK_ON ? ", key" : "");
        progress(line, ms + STEP_MS > END);
        wait_ms(STEP_MS);
    }
}

int main(int argc, char** argv) {
    const char* recording = argc > 5 ? argv[5] : "programme.mp4";
    quolsdk_handle clip, second;
    int done = 0;
    if (argc < 5) {
        return tell_usage(argc, argv, "CLIP SECOND_CLIP STILL MASK [RECORDING.mp4]",
                          "mix two clips, a still and a key, and record the programme");
    }
    printf("libquolsdk %s\n", quolsdk_get_version());
    clip = play_looped(argv[1], NULL);
    second = play_looped(argv[2], NULL);
    if (clip != NULL && second != NULL) {
        quolsdk_handle fill = show("#C01020", "");
        quolsdk_handle mask = show("#000000", argv[4]);
        quolsdk_handle mixer = quolsdk_mixer_create();
        build(mixer, clip, second, argv[3], fill, mask);
        done = record_while(mixer, &canvas, recording, run, mixer);
        quolsdk_mixer_destroy(mixer); /* lets go of its sources, which may go now */
        quolsdk_signal_destroy(mask);
        quolsdk_signal_destroy(fill);
    }
    quolsdk_file_destroy(second);
    quolsdk_file_destroy(clip);
    return done ? 0 : 1;
}

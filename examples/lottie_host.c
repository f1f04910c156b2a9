/* A host in C that puts a Lottie lower third over a clip: it comes in through its IN marker, gets
 * another name and another colour while it holds, and leaves through OUT. The programme is
 * recorded.
 *
 *     lottie_host CLIP TEMPLATE.json [RECORDING.mp4]
 *
 * The template has text layers "Name" and "Role" and a shape layer "Panel". Its texts want a font:
 * see docs/lottie.md for where one is looked for.
 *
 * Exit status: 0 done, 1 the clip or the template cannot be played or nothing recorded, 2 wrong
 * use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>

#include "host_help.h"
#include "usage.h"

enum { WIDTH = 1280, HEIGHT = 720, FPS = 25, STEP_MS = 100, LAYER = 1 };

/* The running order, in milliseconds. */
enum { THIRD_IN = 1000, NEXT_GUEST = 4000, BREAKING = 6000, THIRD_OUT = 8000, END = 10000 };

static const quolsdk_video_format programme = {0, WIDTH, HEIGHT, FPS, 1};

struct show {
    quolsdk_handle thirds;
    const char* path;
    int loaded;
};

static const char* step(struct show* show, int ms) {
    switch (ms) {
        case THIRD_IN:
            show->loaded = quolsdk_animation_load_template(show->thirds, LAYER, show->path);
            break;
        case NEXT_GUEST:
            quolsdk_animation_update(show->thirds, LAYER, "Name", "John Sample");
            quolsdk_animation_update(show->thirds, LAYER, "Role", "Reporter, on the spot");
            break;
        case BREAKING:
            quolsdk_animation_update_color(show->thirds, LAYER, "Panel", "#A01020", "", "");
            break;
        case THIRD_OUT:
            quolsdk_animation_stop(show->thirds, LAYER);
            break;
        default:
            break;
    }
    if (ms < THIRD_IN) return "";
    if (ms < NEXT_GUEST) return ", lower third";
    if (ms < BREAKING) return ", the next guest";
    return ms < THIRD_OUT ? ", in red" : ", leaving";
}

static void run(void* context) {
    char line[PROGRESS_LINE];
    int ms;
    for (ms = 0; ms <= END; ms += STEP_MS) {
        const char* phase = step(context, ms);
        snprintf(line, sizeof line, "  on air %5.1f s of %.1f%s", ms / 1000.0, END / 1000.0, phase);
        progress(line, ms + STEP_MS > END);
        wait_ms(STEP_MS);
    }
}

int main(int argc, char** argv) {
    quolsdk_handle clip, mixer;
    struct show show = {0};
    int done = 0;
    if (argc < 3) {
        return tell_usage(argc, argv, "CLIP TEMPLATE.json [RECORDING.mp4]",
                          "put a Lottie lower third over a clip and record it");
    }
    show.path = argv[2];
    clip = play_looped(argv[1], NULL);
    if (clip != NULL) {
        show.thirds = quolsdk_animation_create();
        mixer = mix_over(clip, show.thirds, &programme);
        done = record_while(mixer, &programme, argc > 3 ? argv[3] : "lottie.mp4", run, &show);
        quolsdk_mixer_destroy(mixer);
        quolsdk_animation_destroy(show.thirds);
        if (!show.loaded) printf("  CANNOT PLAY %s\n", argv[2]);
    }
    quolsdk_file_destroy(clip);
    return done && show.loaded ? 0 : 1;
}

/* A host in C that switches a programme: two clips by cut and fade, a lower third on top, and
 * a stinger with alpha that hides a cut. The sound follows. The switcher is a layer of a mixer, the
 * stinger lies above it, and the mixer's programme is recorded.
 *
 *     switcher_host CLIP_A CLIP_B STINGER TITLES.xml [RECORDING.mp4]
 *
 * Exit status: 0 done, 1 a clip cannot be played or nothing recorded, 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>

#include "host_help.h"
#include "usage.h"

enum { WIDTH = 1280, HEIGHT = 720, FPS = 50, STEP_MS = 100 };

/* The running order, in milliseconds. */
enum {
    CUT = 1500,
    TITLE_IN = 2500,
    FADE = 3000,
    FADE_MS = 1000,
    FADE_BACK = 5500,
    FADE_BACK_MS = 600,
    TITLE_OUT = 7500,
    STINGER = 8000,
    STINGER_MS = 1000,
    END = 10500
};

static const quolsdk_video_format programme = {0, WIDTH, HEIGHT, FPS, 1};

struct desk {
    quolsdk_handle a, b;     /* the clips */
    quolsdk_handle switcher; /* a on program, b on preview */
    quolsdk_handle titles, stinger;
    quolsdk_handle mixer; /* the programme with the stinger on top */
};

static const char* press(const struct desk* desk, int ms) {
    switch (ms) {
        case CUT:
            quolsdk_switcher_cut(desk->switcher);
            return "cut";
        case TITLE_IN:
            quolsdk_character_show_item(desk->titles, "lowerthird", 1);
            return "title";
        case FADE:
            quolsdk_switcher_fade(desk->switcher, FADE_MS);
            return "fade";
        case FADE_BACK:
            quolsdk_switcher_fade(desk->switcher, FADE_BACK_MS);
            return "fade back";
        case TITLE_OUT:
            quolsdk_character_show_item(desk->titles, "lowerthird", 0);
            return "clear";
        case STINGER:
            quolsdk_stinger_play_once(desk->stinger);
            return "stinger";
        case STINGER + STINGER_MS / 2:
            quolsdk_switcher_cut(desk->switcher);
            return "cut behind it";
        default:
            return NULL;
    }
}

static void run(void* data) {
    const struct desk* desk = data;
    char line[PROGRESS_LINE];
    const char* last = "program a";
    int ms;
    for (ms = 0; ms <= END; ms += STEP_MS) {
        const char* pressed = press(desk, ms);
        if (pressed != NULL) last = pressed;
        snprintf(line, sizeof line, "  on air %5.1f s of %.1f: %-14s", ms / 1000.0, END / 1000.0,
                 last);
        progress(line, ms + STEP_MS > END);
        wait_ms(STEP_MS);
    }
}

static void build(struct desk* desk, const char* stinger, const char* titles) {
    desk->titles = quolsdk_character_create();
    quolsdk_character_load_from_xml(desk->titles, titles);
    quolsdk_character_show_item(desk->titles, "logo", 0);
    quolsdk_character_show_item(desk->titles, "lowerthird", 0);
    quolsdk_character_show_item(desk->titles, "crawl", 0);

    desk->switcher = quolsdk_switcher_create();
    quolsdk_switcher_set_program(desk->switcher, desk->a);
    quolsdk_switcher_set_preview(desk->switcher, desk->b);
    quolsdk_switcher_set_cg(desk->switcher, desk->titles);

    desk->stinger = quolsdk_stinger_create();
    if (!quolsdk_stinger_load(desk->stinger, stinger, WIDTH, HEIGHT, 25.0))
        printf("  no stinger in %s: goes on without\n", stinger);

    desk->mixer = quolsdk_mixer_create();
    quolsdk_mixer_set_video_format(desk->mixer, &programme);
    quolsdk_mixer_add_layer(desk->mixer, "programme", desk->switcher);
    quolsdk_mixer_set_layer_audio(desk->mixer, "programme", 1, 100);
    quolsdk_mixer_add_layer(desk->mixer, "stinger", desk->stinger);
    quolsdk_mixer_set_layer_z_index(desk->mixer, "stinger", 1);

    quolsdk_file_pos_set(desk->a, 0.0);
    quolsdk_file_pos_set(desk->b, 0.0);
}

int main(int argc, char** argv) {
    struct desk desk;
    int done = 0;
    if (argc < 5) {
        return tell_usage(argc, argv, "CLIP_A CLIP_B STINGER TITLES.xml [RECORDING.mp4]",
                          "switch between two clips by cut, fade and stinger");
    }
    desk.a = play_looped(argv[1], NULL);
    desk.b = play_looped(argv[2], NULL);
    if (desk.a != NULL && desk.b != NULL) {
        build(&desk, argv[3], argv[4]);
        done =
            record_while(desk.mixer, &programme, argc > 5 ? argv[5] : "switched.mp4", run, &desk);
        /* From the last link of the chain to the first: nobody outlives what it shows. */
        quolsdk_mixer_destroy(desk.mixer);
        quolsdk_switcher_destroy(desk.switcher);
        quolsdk_stinger_destroy(desk.stinger);
        quolsdk_character_destroy(desk.titles);
    }
    quolsdk_file_destroy(desk.b);
    quolsdk_file_destroy(desk.a);
    return done ? 0 : 1;
}

/* A host in C that puts titles over a clip: a lower third with a clock, a crawl and a logo, all
 * from a project file. The mixer lays them over the clip, and the programme is recorded.
 *
 *     title_host CLIP PROJECT.xml [RECORDING.mp4]
 *
 * Exit status: 0 done, 1 the clip cannot be played or nothing recorded, 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>

#include "host_help.h"
#include "usage.h"

enum { WIDTH = 1280, HEIGHT = 720, FPS = 25, STEP_MS = 100 };

/* The running order, in milliseconds. */
enum {
    LOGO_IN = 1000,
    LOWER_THIRD_IN = 2000,
    CRAWL_IN = 4000,
    LOWER_THIRD_OUT = 8000,
    END = 10000
};

static const quolsdk_video_format programme = {0, WIDTH, HEIGHT, FPS, 1};

static void show_at(quolsdk_handle titles, const char* item, int ms, int when, int show) {
    if (ms == when) quolsdk_character_show_item(titles, item, show);
}

static void run(void* titles) {
    char line[PROGRESS_LINE];
    int ms;
    for (ms = 0; ms <= END; ms += STEP_MS) {
        show_at(titles, "logo", ms, LOGO_IN, 1);
        show_at(titles, "lowerthird", ms, LOWER_THIRD_IN, 1);
        show_at(titles, "crawl", ms, CRAWL_IN, 1);
        show_at(titles, "lowerthird", ms, LOWER_THIRD_OUT, 0);
        snprintf(line, sizeof line, "  on air %5.1f s of %.1f%s%s%s", ms / 1000.0, END / 1000.0,
                 ms >= LOGO_IN ? ", logo" : "",
                 ms >= LOWER_THIRD_IN && ms < LOWER_THIRD_OUT ? ", lower third" : "",
                 ms >= CRAWL_IN ? ", crawl" : "");
        progress(line, ms + STEP_MS > END);
        wait_ms(STEP_MS);
    }
}

int main(int argc, char** argv) {
    quolsdk_handle clip, titles, mixer;
    int done = 0;
    if (argc < 3) {
        return tell_usage(argc, argv, "CLIP PROJECT.xml [RECORDING.mp4]",
                          "put titles of a project file over a clip and record it");
    }
    clip = play_looped(argv[1], NULL);
    if (clip != NULL) {
        titles = quolsdk_character_create();
        quolsdk_character_load_from_xml(titles, argv[2]);
        quolsdk_character_show_item(titles, "logo", 0);
        quolsdk_character_show_item(titles, "lowerthird", 0);
        quolsdk_character_show_item(titles, "crawl", 0);
        mixer = mix_over(clip, titles, &programme);
        done = record_while(mixer, &programme, argc > 3 ? argv[3] : "titles.mp4", run, titles);
        quolsdk_mixer_destroy(mixer);
        quolsdk_character_destroy(titles);
    }
    quolsdk_file_destroy(clip);
    return done ? 0 : 1;
}

/* A converter in C: joins media files into one mp4 of 1920x1080 at 25 pictures a second.
 *
 *     convert [-preset NAME] [-tune NAME] [-g PICTURES] [-bf PICTURES] INPUT... OUTPUT.mp4
 *
 * The options are those of the x264 encoder: "-preset veryfast", "-tune film", a key picture at
 * least every PICTURES, so many B pictures in a row. Ctrl-C ends it early; what is converted by
 * then can be played. With slow presets that may take a while: a second Ctrl-C ends the program at
 * once, and the file may be lost.
 *
 * Exit status: 0 done, or ended early; 1 nothing came of it: the output could not be opened (the
 * text says why), or there was nothing to put in it; 2 wrong use. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <string.h>

#include "host_help.h"
#include "interrupt.h"
#include "usage.h"

enum { STEP_MS = 100, BAR = 50 };

static int is_option(const char* text) {
    return strcmp(text, "-preset") == 0 || strcmp(text, "-tune") == 0 || strcmp(text, "-g") == 0 ||
           strcmp(text, "-bf") == 0;
}

/* Hands the options on. The index of the first argument behind them; argc for one that is none. */
static int set_options(quolsdk_handle convert, int argc, char** argv) {
    int i;
    for (i = 1; i + 1 < argc && argv[i][0] == '-'; i += 2) {
        if (!is_option(argv[i])) return argc;
        quolsdk_convert_set_props(convert, argv[i] + 1, argv[i + 1]);
    }
    return i;
}

static void draw_bar(double part, int last) {
    char line[PROGRESS_LINE], bar[BAR + 1];
    const int done = (int)(part * BAR);
    int i;
    for (i = 0; i < BAR; ++i) {
        bar[i] = i < done ? '#' : '.';
    }
    bar[BAR] = '\0';
    snprintf(line, sizeof line, "  [%s] %5.1f%%", bar, part * 100.0);
    progress(line, last);
}

/* Watches the conversion to its end, or ends it early. Its status then. */
static int watch(quolsdk_handle convert) {
    double reached = 0.0;
    int status = 1;
    while (status == 1 && !is_interrupted()) {
        wait_ms(STEP_MS);
        quolsdk_convert_status_get(convert, &status);
        if (status == 1) draw_bar(reached = quolsdk_convert_progress_get(convert), 0);
    }
    if (status == 1) {
        draw_bar(reached, 1);
        printf("  ending early\n");
        quolsdk_convert_stop(convert);
        quolsdk_convert_status_get(convert, &status);
    } else if (status == 0) {
        draw_bar(quolsdk_convert_progress_get(convert), 1);
    }
    return status;
}

/* What came of it. 1 when there is nothing in it. */
static int tell_about(const char* path) {
    quolsdk_handle reader = quolsdk_reader_create();
    const int found =
        quolsdk_reader_open(reader, path) && quolsdk_reader_duration_get(reader) > 0.0;
    if (found) {
        printf("  %s: %.2f s, %lld bytes\n", path, quolsdk_reader_duration_get(reader) / 1000.0,
               (long long)quolsdk_reader_file_len_get(reader));
    } else {
        printf("  NOTHING CONVERTED\n");
    }
    quolsdk_reader_destroy(reader);
    return found ? 0 : 1;
}

int main(int argc, char** argv) {
    quolsdk_handle convert = quolsdk_convert_create();
    const char* output = argv[argc - 1];
    const int first = set_options(convert, argc, argv);
    int i, result;
    for (i = first; i < argc - 1; ++i) {
        quolsdk_convert_add_input_file(convert, argv[i]);
    }
    if (first + 1 < argc) quolsdk_convert_set_file_path(convert, output);
    catch_interrupt();
    if (!quolsdk_convert_start(convert)) {
        result = tell_usage(
            argc, argv,
            "[-preset NAME] [-tune NAME] [-g PICTURES] [-bf PICTURES] INPUT... OUTPUT.mp4",
            "join media files into one of 1920x1080 at 25 pictures a second");
    } else {
        result = watch(convert) == 0 ? tell_about(output) : 1;
    }
    quolsdk_convert_destroy(convert);
    return result;
}

/* A vision mixer: four inputs on a wall, a preview and a programme in one window, worked by the
 * keyboard. The programme is recorded.
 *
 *     vision_mixer [--script FILE] [--titles PROJECT.xml] [--record RECORDING.mp4] [CLIP]...
 *
 * Up to four clips are the inputs, played without an end; the others are colours, and the test
 * signal the fourth. The project has a group "lowerthird". The recording is "programme.mp4" unless
 * named.
 *
 *     1 2 3 4   put an input on preview      t   the title, in and out
 *     space     cut                          r   the last two seconds at half speed, and back
 *     enter     fade                         q   end
 *
 * A script presses keys, and takes screenshots, by itself: see desk_script.h. Without a "q" in it
 * the session goes on until it is ended by hand. A Ctrl-C ends it too.
 *
 * Exit status: 0 done; 1 no display, or it went away; a clip cannot be played; nothing recorded, or
 * a screenshot not written; 2 wrong use, or a script that makes no sense. */
#include <quolsdk/quolsdk_c_api.h>
#include <stdio.h>
#include <string.h>

#include "desk_script.h"
#include "desk_sources.h"
#include "desk_window.h"
#include "host_help.h"
#include "interrupt.h"
#include "mixer_desk.h"
#include "usage.h"

enum { STEP_MS = 10 };

struct session {
    struct mixer_desk* desk;
    struct desk_window* window;
    struct desk_script script;
    double began; /* by now_ms() */
    int over, failed;
};

static double seconds_of(const struct session* session) {
    return (now_ms() - session->began) / 1000.0;
}

static void tell(const struct session* session, const char* what) {
    if (what == NULL) return;
    printf("  %6.2f s  %s\n", seconds_of(session), what);
    fflush(stdout);
}

static void press(struct session* session, char key) {
    if (key == 'q') session->over = 1;
    if (key != '\0') tell(session, mixer_desk_press(session->desk, key));
}

static void follow_script(struct session* session) {
    const struct desk_cue* cue;
    while (!session->over &&
           (cue = desk_script_due(&session->script, seconds_of(session))) != NULL) {
        if (cue->key != '\0') {
            press(session, cue->key);
        } else if (desk_window_shot(session->window, cue->shot)) {
            tell(session, cue->shot);
        } else {
            session->failed = 1;
        }
    }
}

static void run(struct session* session) {
    session->began = now_ms();
    while (!session->over && !is_interrupted()) {
        press(session, desk_window_key(session->window, STEP_MS));
        follow_script(session);
        tell(session, mixer_desk_tick(session->desk));
    }
    if (desk_window_lost(session->window)) {
        printf("  THE DISPLAY IS GONE\n");
        session->failed = 1;
    }
}

/* The index of the first clip; 0 for an option that there is not. */
static int read_options(int argc, char** argv, struct mixer_desk_files* files,
                        const char** script) {
    int i;
    for (i = 1; i < argc && strncmp(argv[i], "--", 2) == 0; i += 2) {
        if (i + 1 == argc) return 0;
        if (strcmp(argv[i], "--script") == 0) {
            *script = argv[i + 1];
        } else if (strcmp(argv[i], "--titles") == 0) {
            files->titles = argv[i + 1];
        } else if (strcmp(argv[i], "--record") == 0) {
            files->recording = argv[i + 1];
        } else {
            return 0;
        }
    }
    return argc - i <= DESK_SOURCES ? i : 0;
}

int main(int argc, char** argv) {
    struct mixer_desk_files files = {NULL, 0, NULL, "programme.mp4"};
    const char* script = NULL;
    const int first = read_options(argc, argv, &files, &script);
    struct session session;
    memset(&session, 0, sizeof session);
    if (first == 0) {
        return tell_usage(
            argc, argv, "[--script FILE] [--titles PROJECT.xml] [--record RECORDING.mp4] [CLIP]...",
            "a vision mixer for four inputs, worked by the keyboard");
    }
    if (script != NULL && !desk_script_read(&session.script, script)) return 2;
    files.clips = (const char* const*)&argv[first];
    files.clip_count = argc - first;
    catch_interrupt();
    session.failed = 1;
    session.window = desk_window_open("Vision mixer", 0);
    if (session.window != NULL) session.desk = mixer_desk_open(&files, session.window);
    if (session.desk != NULL) {
        session.failed = 0;
        run(&session);
        if (!mixer_desk_close(session.desk)) session.failed = 1;
    }
    desk_window_close(session.window);
    desk_script_free(&session.script);
    return session.failed ? 1 : 0;
}

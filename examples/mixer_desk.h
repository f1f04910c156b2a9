/* The desk of a vision mixer: four inputs, a switcher with a title on top, a replay over that, a
 * recording of what comes out, and the operator's monitors. Of one thread. */
#ifndef MIXER_DESK_H
#define MIXER_DESK_H

#include "desk_window.h"

struct mixer_desk;

struct mixer_desk_files {
    const char* const* clips;
    int clip_count;
    const char* titles;    /* a project with a group "lowerthird"; NULL for no titles */
    const char* recording; /* the movie to write */
};

/* On air and recording at once, the first input on programme, the second on preview. NULL, with a
 * line, when a clip cannot be played or the recording cannot be written. */
struct mixer_desk* mixer_desk_open(const struct mixer_desk_files* files,
                                   const struct desk_window* window);
/* Finishes the recording, tells what came of it and ends everything. 0 when nothing was recorded.
 */
int mixer_desk_close(struct mixer_desk* desk);

/* What a key does: "1" to "4" put an input on preview, ' ' cuts, '\n' fades, 't' shows and hides
 * the title, 'r' plays a replay or ends it. What was done, in words; NULL for a key that does
 * nothing now: while a fade runs, what is on programme and preview stays. */
const char* mixer_desk_press(struct mixer_desk* desk, char key);

/* Sees to what ends by itself, a fade or a replay; to be called often. What ended, or NULL. */
const char* mixer_desk_tick(struct mixer_desk* desk);

#endif

/* Keys and screenshots by the clock, from a text file, for a session that nobody has to sit at.
 *
 * A line is "SECONDS KEY" or "SECONDS shot FILE.png". KEY is "1" to "4", "space", "enter", "t", "r"
 * or "q". Lines come about in their order. One that comes late, on a busy machine, delays all
 * behind it: what there is to see between two of them has its time. Empty lines, and what follows a
 * "#", are passed over. */
#ifndef DESK_SCRIPT_H
#define DESK_SCRIPT_H

enum { DESK_SCRIPT_NAME = 256 };

struct desk_cue {
    double seconds;
    char key;                    /* ' ' for space, '\n' for enter; 0 for a screenshot */
    char shot[DESK_SCRIPT_NAME]; /* the screenshot's file */
};

struct desk_script {
    struct desk_cue* cues; /* the reader's, to be freed by desk_script_free */
    int count;
    int next;    /* the first one that is still to come */
    double late; /* seconds, the last one */
};

/* 0, with a line, when the file cannot be read or a line of it makes no sense; the script is then
 * empty. */
int desk_script_read(struct desk_script* script, const char* path);
void desk_script_free(struct desk_script* script);

/* The next line whose time has come, that many seconds into the session; NULL while there is none.
 */
const struct desk_cue* desk_script_due(struct desk_script* script, double seconds);

#endif

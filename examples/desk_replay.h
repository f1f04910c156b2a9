/* The replay machine of a vision mixer: records all the time, and plays the last seconds slowly. */
#ifndef DESK_REPLAY_H
#define DESK_REPLAY_H

#include <quolsdk/quolsdk_c_api.h>

enum { DESK_FOLDER = 256 };

struct desk_replay {
    quolsdk_handle handle;
    quolsdk_handle source;    /* what it records; NULL for nothing */
    char folder[DESK_FOLDER]; /* of its own, for what it stores; empty where there is none */
    int playing;
    double last_ms;  /* where the playback ends */
    double limit_ms; /* by now_ms(), when it ends in any case */
};

/* Records that source from now on. Without a folder to store it in, with a line, it has nothing to
 * play. */
void desk_replay_open(struct desk_replay* replay, quolsdk_handle source);
/* Removes what it has stored. */
void desk_replay_close(struct desk_replay* replay);

/* 0 when nothing is stored yet. */
int desk_replay_play(struct desk_replay* replay);
void desk_replay_stop(struct desk_replay* replay);
/* Whether it is through with what it plays. */
int desk_replay_over(const struct desk_replay* replay);

#endif

/* The inputs of a vision mixer. */
#ifndef DESK_SOURCES_H
#define DESK_SOURCES_H

#include <quolsdk/quolsdk_c_api.h>

enum { DESK_SOURCES = 4, DESK_NAME = 32 };

struct desk_source {
    quolsdk_handle handle;
    void (*destroy)(quolsdk_handle handle);
    char name[DESK_NAME]; /* with its number in front */
};

/* Clips without an end, as many as there are; then a colour each; the last is the test signal
 * unless it is a clip. 0, with a line, when a clip cannot be played: what was made until then is to
 * be destroyed all the same. */
int desk_sources_make(struct desk_source sources[DESK_SOURCES], const char* const* clips,
                      int count);

/* Lets the clips play from their beginnings; they stand until then. */
void desk_sources_play(struct desk_source sources[DESK_SOURCES]);
void desk_sources_destroy(struct desk_source sources[DESK_SOURCES]);

#endif

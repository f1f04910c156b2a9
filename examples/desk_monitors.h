/* What a vision mixer shows its operator: a wall of everything, the preview and the programme, each
 * in a window of the host. */
#ifndef DESK_MONITORS_H
#define DESK_MONITORS_H

#include <quolsdk/quolsdk_c_api.h>

#include "desk_sources.h"
#include "desk_window.h"

/* Tiles of the wall: the inputs in the upper row, these below. */
enum desk_tile { DESK_REPLAY = DESK_SOURCES, DESK_TITLES, DESK_CLEAN, DESK_TILES };

enum desk_tally { DESK_IDLE, DESK_NEXT, DESK_ON_AIR };

struct desk_monitors {
    quolsdk_handle wall;
    quolsdk_handle views[DESK_VIEWS];
};

/* Opens the views in the window. */
void desk_monitors_open(struct desk_monitors* monitors, const struct desk_window* window);
/* Before what they show goes. */
void desk_monitors_close(struct desk_monitors* monitors);

void desk_monitors_tile(struct desk_monitors* monitors, int tile, quolsdk_handle source,
                        const char* name);
void desk_monitors_tally(struct desk_monitors* monitors, int tile, enum desk_tally tally);
void desk_monitors_programme(struct desk_monitors* monitors, quolsdk_handle programme);
/* What is on preview. */
void desk_monitors_preview(struct desk_monitors* monitors, const struct desk_source* source);
/* The label of the programme. */
void desk_monitors_on_air(struct desk_monitors* monitors, const char* name);

#endif

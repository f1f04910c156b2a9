#include "desk_monitors.h"

#include <stdint.h>

enum { WALL_GRID = 2 }; /* four columns, two rows */

static quolsdk_handle open_view(const struct desk_window* window, enum desk_view view,
                                const char* status, int sound) {
    quolsdk_handle const preview = quolsdk_preview_create();
    quolsdk_preview_set_props(preview, "ui_framework", "x11");
    quolsdk_preview_set_props(preview, "maintain_ar", "true");
    if (status[0] != '\0') { /* the wall brings labels and meters of its own */
        quolsdk_preview_set_props(preview, "audio_meter", "true");
        quolsdk_preview_set_props(preview, "timecode.preview", "true");
        quolsdk_preview_set_status(preview, status);
    }
    quolsdk_preview_enable(preview, (void*)(uintptr_t)desk_window_view(window, view), sound, 1);
    return preview;
}

void desk_monitors_open(struct desk_monitors* monitors, const struct desk_window* window) {
    monitors->wall = quolsdk_multiview_create();
    quolsdk_multiview_setup_grid(monitors->wall, 0, WALL_GRID);
    monitors->views[DESK_WALL] = open_view(window, DESK_WALL, "", 0);
    monitors->views[DESK_PREVIEW] = open_view(window, DESK_PREVIEW, "preview", 0);
    monitors->views[DESK_PROGRAMME] = open_view(window, DESK_PROGRAMME, "program", 1);
    quolsdk_preview_object(monitors->views[DESK_WALL], monitors->wall);
}

void desk_monitors_close(struct desk_monitors* monitors) {
    int i;
    for (i = 0; i < DESK_VIEWS; ++i) {
        quolsdk_preview_destroy(monitors->views[i]);
    }
    quolsdk_multiview_destroy(monitors->wall);
}

static int row_of(int tile) {
    return tile / (2 * WALL_GRID) + 1;
}

static int column_of(int tile) {
    return tile % (2 * WALL_GRID) + 1;
}

void desk_monitors_tile(struct desk_monitors* monitors, int tile, quolsdk_handle source,
                        const char* name) {
    quolsdk_multiview_set_grid_pos(monitors->wall, source, row_of(tile), column_of(tile), 0, name);
}

void desk_monitors_tally(struct desk_monitors* monitors, int tile, enum desk_tally tally) {
    if (tally == DESK_ON_AIR) {
        quolsdk_multiview_set_grid_pgm(monitors->wall, row_of(tile), column_of(tile));
    } else if (tally == DESK_NEXT) {
        quolsdk_multiview_set_grid_pvw(monitors->wall, row_of(tile), column_of(tile));
    } else {
        quolsdk_multiview_clear_tally(monitors->wall, row_of(tile), column_of(tile));
    }
}

void desk_monitors_programme(struct desk_monitors* monitors, quolsdk_handle programme) {
    quolsdk_multiview_set_pgm_source(monitors->wall, programme);
    quolsdk_preview_object(monitors->views[DESK_PROGRAMME], programme);
}

void desk_monitors_preview(struct desk_monitors* monitors, const struct desk_source* source) {
    quolsdk_multiview_set_pvw_source(monitors->wall, source->handle);
    quolsdk_preview_object(monitors->views[DESK_PREVIEW], source->handle);
    quolsdk_preview_set_name(monitors->views[DESK_PREVIEW], source->name);
}

void desk_monitors_on_air(struct desk_monitors* monitors, const char* name) {
    quolsdk_preview_set_name(monitors->views[DESK_PROGRAMME], name);
}

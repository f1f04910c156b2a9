#include "api/Handle.h"
#include "quolsdk/LMultiview.h"

using namespace quol::api;

quolsdk_handle quolsdk_multiview_create(void) {
    return newHandle<LMultiview>();
}

void quolsdk_multiview_destroy(quolsdk_handle multiview) {
    delete fromHandle<LMultiview>(multiview);
}

void quolsdk_multiview_setup_grid(quolsdk_handle multiview, int orientation, int grid_size) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) {
        m.setupGrid(static_cast<MultiviewOrientation>(orientation), grid_size);
    });
}

void quolsdk_multiview_set_pvw_source(quolsdk_handle multiview, quolsdk_handle source) {
    withObject<LMultiview>(multiview,
                           [=](LMultiview& m) { m.setPVWSource(fromHandle<LObject>(source)); });
}

void quolsdk_multiview_set_pgm_source(quolsdk_handle multiview, quolsdk_handle source) {
    withObject<LMultiview>(multiview,
                           [=](LMultiview& m) { m.setPGMSource(fromHandle<LObject>(source)); });
}

void quolsdk_multiview_set_grid_pos(quolsdk_handle multiview, quolsdk_handle source, int row,
                                    int col, int span, const char* name) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) {
        m.setGridPos(fromHandle<LObject>(source), row, col, span, textOf(name));
    });
}

void quolsdk_multiview_remove_grid_pos(quolsdk_handle multiview, int row, int col) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) { m.removeGridPos(row, col); });
}

void quolsdk_multiview_set_grid_pgm(quolsdk_handle multiview, int row, int col) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) { m.setGridPGM(row, col); });
}

void quolsdk_multiview_set_grid_pvw(quolsdk_handle multiview, int row, int col) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) { m.setGridPVW(row, col); });
}

void quolsdk_multiview_clear_tally(quolsdk_handle multiview, int row, int col) {
    withObject<LMultiview>(multiview, [=](LMultiview& m) { m.clearTally(row, col); });
}

void quolsdk_multiview_set_grid_name(quolsdk_handle multiview, int row, int col, const char* name) {
    withObject<LMultiview>(multiview,
                           [=](LMultiview& m) { m.setGridName(row, col, textOf(name)); });
}

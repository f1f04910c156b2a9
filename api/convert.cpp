#include "api/Handle.h"
#include "quolsdk/LConvert.h"

using namespace quol::api;

quolsdk_handle quolsdk_convert_create(void) {
    return toHandle(new LConvert);
}

void quolsdk_convert_destroy(quolsdk_handle convert) {
    delete fromHandle<LConvert>(convert);
}

void quolsdk_convert_set_file_path(quolsdk_handle convert, const char* path) {
    withObject<LConvert>(convert, [=](LConvert& c) { c.setFilePath(textOf(path)); });
}

void quolsdk_convert_add_input_file(quolsdk_handle convert, const char* path) {
    withObject<LConvert>(convert, [=](LConvert& c) { c.addInputFile(textOf(path)); });
}

void quolsdk_convert_clear_input_files(quolsdk_handle convert) {
    withObject<LConvert>(convert, [](LConvert& c) { c.clearInputFiles(); });
}

int quolsdk_convert_start(quolsdk_handle convert) {
    return withObject<LConvert>(convert, 0, [](LConvert& c) { return c.Start(); });
}

void quolsdk_convert_stop(quolsdk_handle convert) {
    withObject<LConvert>(convert, [](LConvert& c) { c.Stop(); });
}

void quolsdk_convert_status_get(quolsdk_handle convert, int* status) {
    if (status == nullptr) return;
    withObject<LConvert>(convert, [=](LConvert& c) { c.statusGet(*status); });
}

double quolsdk_convert_progress_get(quolsdk_handle convert) {
    return withObject<LConvert>(convert, 0.0, [](LConvert& c) { return c.progress.load(); });
}

void quolsdk_convert_set_props(quolsdk_handle convert, const char* key, const char* value) {
    withObject<LConvert>(convert, [=](LConvert& c) { c.setProps(textOf(key), textOf(value)); });
}

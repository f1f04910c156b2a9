/* Is the preview of a toolkit found by nothing but where the library is installed?
 * usage: preview_host TOOLKIT; prints the path of its plug-in. */
#include <stdio.h>
#include <string.h>

#include "quolsdk/quolsdk_c_api.h"

int main(int argc, char** argv) {
    char line[4096], name[64];
    int found = 0;
    FILE* maps;
    quolsdk_handle preview;
    if (argc != 2) return 2;
    preview = quolsdk_preview_create();
    quolsdk_preview_set_props(preview, "ui_framework", argv[1]);
    snprintf(name, sizeof name, "/libquolsdk_%s.so", argv[1]);
    maps = fopen("/proc/self/maps", "r");
    while (!found && maps != NULL && fgets(line, sizeof line, maps) != NULL) {
        found = strstr(line, name) != NULL;
    }
    if (found) printf("%s", strchr(line, '/'));
    if (maps != NULL) fclose(maps);
    quolsdk_preview_destroy(preview);
    return found ? 0 : 1;
}

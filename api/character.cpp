#include "api/Handle.h"
#include "quolsdk/LCharacter.h"

using namespace quol::api;

quolsdk_handle quolsdk_character_create(void) {
    return newHandle<LCharacter>();
}

void quolsdk_character_destroy(quolsdk_handle character) {
    delete fromHandle<LCharacter>(character);
}

void quolsdk_character_show_item(quolsdk_handle character, const char* id, int show) {
    withObject<LCharacter>(character, [=](LCharacter& c) { c.showItem(textOf(id), show != 0); });
}

void quolsdk_character_remove(quolsdk_handle character, const char* id) {
    withObject<LCharacter>(character, [=](LCharacter& c) { c.remove(textOf(id)); });
}

void quolsdk_character_force_update(quolsdk_handle character) {
    withObject<LCharacter>(character, [](LCharacter& c) { c.forceUpdate(); });
}

void quolsdk_character_load_from_xml(quolsdk_handle character, const char* path) {
    withObject<LCharacter>(character, [=](LCharacter& c) { c.loadFromXMLFile(textOf(path)); });
}

void quolsdk_character_save_to_xml(quolsdk_handle character, const char* path) {
    withObject<LCharacter>(character, [=](LCharacter& c) { c.saveToXMLFile(textOf(path)); });
}

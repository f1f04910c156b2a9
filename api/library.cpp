#include "quolsdk/quolsdk_c_api.h"

const char* quolsdk_get_version(void) {
    return QUOLSDK_VERSION_STRING;
}

const char* quolsdk_get_author(void) {
    return "quolmedia";
}

const char* quolsdk_get_company(void) {
    return "quolmedia Broadcast Media Sdk Technologies";
}

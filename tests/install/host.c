#include <stdio.h>

#include "quolsdk/quolsdk_c_api.h"

int main(void) {
    printf("quolsdk %s\n", quolsdk_get_version());
    return 0;
}

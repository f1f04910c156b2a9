#define _POSIX_C_SOURCE 200809L

#include "host_help.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

void wait_ms(long ms) {
    struct timespec left = {ms / 1000, ms % 1000 * 1000000L};
    while (nanosleep(&left, &left) != 0) {
    }
}

void progress(const char* text, int last) {
    if (isatty(STDOUT_FILENO)) {
        printf("\r%-*s", PROGRESS_LINE, text);
    } else if (last) {
        printf("%s", text);
    }
    if (last) printf("\n");
    fflush(stdout);
}

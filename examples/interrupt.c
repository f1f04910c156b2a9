#define _POSIX_C_SOURCE 200809L

#include "interrupt.h"

#include <signal.h>
#include <string.h>

static volatile sig_atomic_t interrupted = 0;

static void interrupt(int number) {
    (void)number;
    interrupted = 1;
}

void catch_interrupt(void) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = interrupt;
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, NULL);
    sigaction(SIGTERM, &action, NULL);
}

int is_interrupted(void) {
    return interrupted;
}

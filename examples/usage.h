/* How an example says what it is used for, in C and in C++. */
#ifndef USAGE_H
#define USAGE_H

#include <stdio.h>
#include <string.h>

static inline int asks_for_help(int argc, char** argv) {
    return argc == 2 && strcmp(argv[1], "--help") == 0;
}

/* The line of its use, and what it does to who has asked for it. The exit status that the program
 * then ends with: 0 when it was asked for, 2 when it was used in another way than that. */
static inline int tell_usage(int argc, char** argv, const char* arguments, const char* summary) {
    const int asked = asks_for_help(argc, argv);
    const char* slash = strrchr(argv[0], '/');
    fprintf(asked ? stdout : stderr, "use: %s %s\n", slash != NULL ? slash + 1 : argv[0],
            arguments);
    if (asked) printf("%s\n", summary);
    return asked ? 0 : 2;
}

#endif

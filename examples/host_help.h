/* What the hosts in C have in common: waiting, and a line of progress. */
#ifndef HOST_HELP_H
#define HOST_HELP_H

enum { PROGRESS_LINE = 79 };

void wait_ms(long ms);

/* One line that is written over on a terminal; elsewhere only its last state is printed. */
void progress(const char* text, int last);

#endif

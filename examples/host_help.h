/* What the hosts in C have in common: waiting, a line of progress, and recording. */
#ifndef HOST_HELP_H
#define HOST_HELP_H

#include <quolsdk/quolsdk_c_api.h>

enum { PROGRESS_LINE = 79 };

void wait_ms(long ms);

/* One line that is written over on a terminal; elsewhere only its last state is printed. */
void progress(const char* text, int last);

/* Records a source in that format while run(data) lasts, and tells what came of it. 0 when nothing
 * was written. */
int record_while(quolsdk_handle source, const quolsdk_video_format* format, const char* path,
                 void (*run)(void* data), void* data);

#endif

/* What the hosts in C have in common: waiting, a line of progress, and recording. */
#ifndef HOST_HELP_H
#define HOST_HELP_H

#include <quolsdk/quolsdk_c_api.h>

enum { PROGRESS_LINE = 79 };

void wait_ms(long ms);

/* Of a clock that only goes forward; from when is its own affair. */
double now_ms(void);

/* One line that is written over on a terminal; elsewhere only its last state is printed. */
void progress(const char* text, int last);

/* A player of a clip without an end, in that format of the tables, or its own for NULL. It stands
 * at its beginning until quolsdk_file_pos_set: what shows it is to be attached by then, since a
 * player that nobody listens to stops after a few pictures. NULL, with a line, when it cannot be
 * played.
 */
quolsdk_handle play_looped(const char* path, const quolsdk_video_format* format);

/* A mixer that shows a clip, with its sound, and `overlay` above it, both as large as the picture.
 * The clip plays from its beginning. */
quolsdk_handle mix_over(quolsdk_handle clip, quolsdk_handle overlay,
                        const quolsdk_video_format* format);

/* Records a source in that format while run(data) lasts, and tells what came of it. 0 when nothing
 * was written. */
int record_while(quolsdk_handle source, const quolsdk_video_format* format, const char* path,
                 void (*run)(void* data), void* data);

#endif

/* What the C interface leaves to the classes: an instant replay takes what a source brings. */
#ifndef REPLAY_FEED_H
#define REPLAY_FEED_H

#include <quolsdk/quolsdk_c_api.h>

#ifdef __cplusplus
extern "C" {
#endif

/* From now on the replay gets what the source brings; it stores it while it records. */
void feed_replay(quolsdk_handle replay, quolsdk_handle source);

/* No more. Before either of the two is destroyed. */
void starve_replay(quolsdk_handle replay, quolsdk_handle source);

#ifdef __cplusplus
}
#endif

#endif

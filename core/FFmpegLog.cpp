// FFmpeg prints to standard error, by default also what is no fault at all: an encoder's
// statistics, every damaged macroblock of a damaged file. On air that buries the lines that matter,
// so the threshold goes up when the library is loaded, unless the host has chosen one of its own. A
// host that wants to read FFmpeg's messages calls av_log_set_level afterwards.
#include "core/Handles.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

__attribute__((constructor)) void quietFFmpeg() {
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_FATAL);
}

} // namespace

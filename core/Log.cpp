#include "core/Log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>

extern "C" {
#include <libavutil/log.h>
}

namespace quol {

namespace {

// stdio locks the stream for one call, so a line handed over whole is never torn by another
// thread's. The flush keeps lines in order with what the host writes past stdio.
void writeLine(std::FILE* stream, const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return;
    // Most lines need no memory, and a line that there is none for is cut: what has run short of it
    // must be able to say so.
    std::array<char, 512> usual;
    std::unique_ptr<char[]> longer;
    const std::size_t whole = static_cast<std::size_t>(length) + 1;
    if (whole > usual.size()) longer.reset(new (std::nothrow) char[whole]);
    char* const line = longer ? longer.get() : usual.data();
    const std::size_t size = longer ? whole : std::min(whole, usual.size());
    std::vsnprintf(line, size, format, arguments);
    line[size - 1] = '\n';
    std::fwrite(line, 1, size, stream);
    std::fflush(stream);
}

// FFmpeg prints to standard error, by default also what is no fault at all: an encoder's
// statistics, every damaged macroblock of a damaged file. On air that buries the lines that matter,
// so the threshold goes up when the library is loaded, unless the host has chosen one of its own. A
// host that wants to read FFmpeg's messages calls av_log_set_level afterwards.
__attribute__((constructor)) void quietFFmpeg() {
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_FATAL);
}

} // namespace

void logOut(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    writeLine(stdout, format, arguments);
    va_end(arguments);
}

void logError(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    writeLine(stderr, format, arguments);
    va_end(arguments);
}

} // namespace quol

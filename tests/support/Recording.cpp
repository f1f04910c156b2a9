#include "support/Recording.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>

#include "core/Handles.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"

namespace test {

void configure(LRecorder& recorder, const std::string& path, const Encoding& encoding) {
    recorder.setFilePath(path);
    recorder.setContainer(encoding.container);
    recorder.setVideoCodec(encoding.video);
    recorder.setAudioCodec(encoding.audio);
    recorder.customSet(encoding.options);
}

void setPictures(LRecorder& recorder, int width, int height, double fps) {
    videoFormatProps format;
    format.width = width;
    format.height = height;
    format.fps = fps;
    recorder.setVideoFormat(format);
}

int statusOf(LRecorder& recorder) {
    int status = -1;
    recorder.statusGet(status);
    return status;
}

LRecorder::Stats statsOf(LRecorder& recorder) {
    LRecorder::Stats stats;
    recorder.getStats(stats);
    return stats;
}

bool waitForWritten(LRecorder& recorder, std::int64_t count) {
    return waitUntil([&] { return statsOf(recorder).framesWritten >= count; },
                     std::chrono::seconds(60));
}

void pushGrey(LRecorder& recorder, int width, int height, int level) {
    const quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(frame.get(), 32) < 0) return;
    for (int plane = 0; plane < 3; ++plane) {
        fillPlane(*frame, plane, static_cast<std::uint8_t>(plane == 0 ? level : 128));
    }
    recorder.pushVideoFrame(frame.get());
}

StalledFile::StalledFile(const std::string& name) : path_(temporaryPath(name)) {
    std::signal(SIGPIPE, SIG_IGN);
    unlink(path_.c_str());
    if (mkfifo(path_.c_str(), 0600) != 0) return;
    descriptor_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(descriptor_, F_SETPIPE_SZ, 4096);
}

StalledFile::~StalledFile() {
    if (reader_.joinable()) reader_.join();
    if (descriptor_ >= 0) close(descriptor_);
    unlink(path_.c_str());
}

void StalledFile::letGo() {
    if (!reader_.joinable()) reader_ = std::thread(&StalledFile::read, this);
}

void StalledFile::read() {
    char buffer[65536];
    while (true) {
        pollfd waiting{descriptor_, POLLIN, 0};
        poll(&waiting, 1, -1);
        const ssize_t got = ::read(descriptor_, buffer, sizeof buffer);
        if (got == 0) return; // the writer has closed
        if (got > 0) bytes_.append(buffer, static_cast<std::size_t>(got));
    }
}

std::string StalledFile::levels() {
    letGo();
    reader_.join();
    constexpr std::size_t pictureBytes = size * size * 3 / 2;
    std::string levels;
    for (std::size_t at = 0; at + pictureBytes <= bytes_.size(); at += pictureBytes) {
        levels.push_back(bytes_[at]);
    }
    return levels;
}

} // namespace test

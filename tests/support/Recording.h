// What the tests of the recorder share: a small quick recording, its state, and a file that holds
// the encoder up.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "quolsdk/LRecorder.h"

namespace test {

// Which muxer and which encoders; the options keep the encoder out of the way of the others.
struct Encoding {
    std::string container = "mp4";
    std::string video = "libx264";
    std::string audio = "aac";
    std::string options = "preset=ultrafast";
};

void configure(LRecorder& recorder, const std::string& path, const Encoding& encoding = {});

// The picture format of the file, custom mode.
void setPictures(LRecorder& recorder, int width, int height, double fps);

int statusOf(LRecorder& recorder);
LRecorder::Stats statsOf(LRecorder& recorder);

// Waits until that many pictures have gone into the file; false when the limit has passed.
bool waitForWritten(LRecorder& recorder, std::int64_t count);

// A picture of one level, without a time of its own, pushed by hand.
void pushGrey(LRecorder& recorder, int width, int height, int level);

// A file that nobody reads at first: the encoding thread stands still in its first writes.
class StalledFile {
public:
    // Uncompressed pictures and no sound, so that few pictures fill what the system buffers.
    static constexpr int size = 64; // width and height
    static Encoding encoding() { return {"rawvideo", "rawvideo", "none", ""}; }

    explicit StalledFile(const std::string& name);
    // Ends the writer's writing with an error when it was not let go before.
    ~StalledFile();
    StalledFile(const StalledFile&) = delete;
    StalledFile& operator=(const StalledFile&) = delete;

    const std::string& path() const { return path_; }

    // Begins to read, to the end that the writer makes.
    void letGo();

    // All pictures, each as the level of its first pixel. Waits for the end of the file.
    std::string levels();

private:
    void read();

    std::string path_;
    int descriptor_ = -1;
    std::string bytes_; // the reader's until it is joined
    std::thread reader_;
};

} // namespace test

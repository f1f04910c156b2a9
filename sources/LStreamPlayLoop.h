// The worker of an LStreamPlay: connect, read, decode, pace, distribute.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <set>

#include "core/Clock.h"
#include "core/MediaInput.h"
#include "quolsdk/LStreamPlay.h"
#include "sources/StreamPictures.h"
#include "sources/StreamSound.h"

namespace quol {

// Longest time without a byte: a server that has gone without a word says none any more. Live
// playlists of long segments pause for some ten seconds.
inline constexpr std::int64_t longestStreamSilence = 30 * nanosPerSecond;

inline constexpr std::int64_t noTrackWanted = std::numeric_limits<std::int64_t>::min();

// Options to open a live stream with.
void askForLive(Dictionary& options);

// Pictures a second of a stream: its average, else its base rate; 0.0 when neither is one. What
// FFmpeg takes from the ticks of time stamps for want of better, 90000 say, is none.
double liveRate(const AVStream& stream);

// A stream of moving pictures: the cover of a programme of sound is none.
bool isMoving(const AVStream& stream);

} // namespace quol

// Lives on the worker's thread for one run of it.
class LStreamPlay::DecodeLoop {
public:
    explicit DecodeLoop(LStreamPlay& player)
        : player(player),
          input(*player.input),
          packet(quol::makePacket()),
          decoded(quol::makeFrame()) {}
    // Plays until the player's `playing` is cleared.
    void run();

private:
    void connect();
    bool openStream();
    bool fail(const char* what);
    int bestPicture() const;
    void openVideo(int index);
    void takeSize(int width, int height);
    void openTrack(int index);
    void readOnlyWanted();
    void switchTrack();
    void meetStream(int index);
    void closeStream();
    void step();
    bool idle();
    bool goOn();
    void handle(const AVPacket& arrived);

    void videoPacket(const AVPacket& arrived);
    int sendVideo(const AVPacket& arrived);
    void receiveVideo();
    void deliver(AVFrame& picture);
    void audioPacket(const AVPacket& arrived);
    void deliverSound(const AVFrame& block);
    int soundRate(const AVFrame& block);

    LStreamPlay& player;
    quol::MediaInput& input;
    const quol::PacketPtr packet;
    const quol::FramePtr decoded;
    quol::CodecContextPtr video; // null without a picture
    quol::CodecContextPtr audio; // null without sound
    int videoStream = -1;
    int audioStream = -1;
    std::set<int> met;              // streams of the open address that were tried once they sent
    std::optional<int> trackChosen; // what the host has chosen to hear of the open address
    AVRational videoTimeBase{1, 1};
    quol::StreamPictures pictures;
    quol::StreamSound sound;
};

// Takes the stream of one sender.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/Handshake.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/PictureCoder.h"
#include "platform/vtp/ReceivedQueue.h"
#include "platform/vtp/SourceTable.h"
#include "platform/vtp/vtp.h"

namespace quol::vtp {

// One thread for each connection: it connects, reads, decodes and puts what came into the queues.
// Any thread may call at any time; connecting and disconnecting wait for each other, and
// disconnecting cuts a connecting short.
class Receiver {
public:
    explicit Receiver(const Times& times = {}) : times_(times) {}
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    ~Receiver() { disconnect(); }

    void setNetwork(const vtp_network& network);
    void connect(const std::string& host, std::uint16_t port);
    void connectByName(const std::string& name);
    void disconnect();
    bool takePicture(vtp_video_frame& frame);
    bool takeSound(vtp_audio_frame& frame);
    bool isConnected();

private:
    enum class Phase { idle, connecting, connected };

    void end();
    std::uint64_t disconnects();
    void connectTo(const std::string& host, std::uint16_t port, std::uint64_t disconnects);

    // The thread's.
    void run(Address address, std::uint16_t port);
    void converse(Address address, std::uint16_t port);
    bool open(Address address, std::uint16_t port, Clock::time_point deadline);
    bool wait(short events, Clock::time_point until);
    bool follow(Clock::time_point deadline);
    bool read();
    bool take(const MessageHeader& header, MessageParser& parser);
    bool welcome();
    bool say(const MessageHeader& header);
    bool finishSaying();
    void takeMedia(const MessageHeader& header, BlockPtr payload);

    const Times times_;

    std::mutex control_; // held over connecting and disconnecting; guards the thread between them
    std::thread thread_;
    Wakeup wakeup_; // wakes the thread to end

    std::mutex mutex_; // guards all up to the next blank line
    std::condition_variable changed_;
    vtp_network network_;
    Phase phase_ = Phase::idle;
    bool ending_ = false;
    std::uint64_t disconnects_ = 0; // how often it was asked for
    ReceivedQueue pictures_{maxPicturesWaiting, maxPictureBytesWaiting};
    ReceivedQueue sounds_{maxSoundsWaiting, maxSoundBytesWaiting};
    SharedBlock shownPicture_; // what was handed out last
    SharedBlock shownSound_;

    // The thread's while it runs.
    std::string secret_;
    std::string interfaceName_;
    Descriptor socket_;
    std::optional<ReceiverHandshake> handshake_;
    Clock::time_point heard_;
    Clock::time_point spoke_;
    std::string unsaid_; // the rest of what the socket did not take
    BlockPool pool_;
    BlockPool decoded_;
    std::optional<MessageParser> parser_;
    std::optional<PictureDecoder> decoder_;
};

} // namespace quol::vtp

// A sender's end of one connection.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/Handshake.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/Outbox.h"
#include "platform/vtp/SourceTable.h"

namespace quol::vtp {

// What a sender tells of its stream.
struct StreamInfo {
    std::string name;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pictureRate = 0;
    bool hasSound = false;
};

// First a stranger that has to say hello and, where there is a secret, to prove that it knows it;
// then a receiver. Of the sender's thread alone.
class Connection {
public:
    Connection(Descriptor socket, const Ends& ends, const StreamInfo& stream,
               const std::string& secret, BlockPool& pool, const Times& times,
               Clock::time_point now);

    int descriptor() const { return socket_.get(); }
    Address peer() const { return ends_.receiver.address; }
    Clock::time_point begun() const { return begun_; }
    bool isReceiver() const { return state_ == State::receiver; }

    // Reads what has come. False when the connection is to be closed.
    bool read(Clock::time_point now);

    // Sends as much as goes: first what the connection itself has to say, then what `next` gives.
    // False when the connection is to be closed. Afterwards `wantsToWrite` says whether it is to be
    // called again as soon as the socket can be written to.
    bool write(const std::function<MessagePtr()>& next, Clock::time_point now);
    bool wantsToWrite() const { return wantsToWrite_; }

    // Whether a message waits to be sent, or a part of one.
    bool isBusy() const { return current_ || !own_.empty(); }

    // Nothing more will be sent. The other end closes when it has read what was.
    void finish();

    // Says that this end lives where nothing else says so. False when the other end is silent for
    // too long.
    bool keepAlive(Clock::time_point now);

private:
    enum class State { hello, proof, receiver };

    bool take(const MessageHeader& header, Clock::time_point now);
    bool takeHello(const MessageHeader& header);
    bool takeProof(const MessageHeader& header);
    // False when memory is short.
    bool say(const MessageHeader& header, SharedBlock payload = nullptr);

    // 1 when the message is through, 0 when the socket is full, -1 when it has failed.
    int sendCurrent();

    const Descriptor socket_;
    const Ends ends_;
    const StreamInfo& stream_; // the sender's, which outlives its connections; so do the next two
    const std::string& secret_;
    const Times& times_;
    BlockPool& pool_;
    MessageParser parser_;
    State state_ = State::hello;
    Digest senderNonce_{};
    Digest receiverNonce_{};
    const Clock::time_point begun_;
    Clock::time_point heard_;
    Clock::time_point spoke_;
    HeartbeatCount heartbeats_;
    std::deque<MessagePtr> own_;
    MessagePtr current_;
    std::size_t sent_ = 0; // bytes of it
    bool wantsToWrite_ = false;
};

} // namespace quol::vtp

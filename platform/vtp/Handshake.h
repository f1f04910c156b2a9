// A receiver's side of what is said before the stream comes, and what may be said behind it.
#pragma once

#include <string>

#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/Secret.h"

namespace quol::vtp {

// Heartbeats cost next to nothing to send, and a turn of a thread to read.
class HeartbeatCount {
public:
    // False for one that is more than an end has reason to send.
    bool takesOne(Clock::time_point now) {
        if (now - since_ >= std::chrono::seconds(1)) {
            since_ = now;
            count_ = 0;
        }
        return ++count_ <= maxHeartbeats;
    }

private:
    Clock::time_point since_;
    int count_ = 0;
};

// Each message in its place, and nothing else. Owned by one thread.
class ReceiverHandshake {
public:
    // What a message of the sender's came to.
    enum class Step { refused, proof, welcomed, media, nothing };

    // Without a secret anybody's stream is taken.
    ReceiverHandshake(std::string secret, const Ends& ends)
        : secret_(std::move(secret)), ends_(ends) {}

    // The first message to say. False when there are no random numbers to be had.
    bool begin(MessageHeader& hello);

    // For `proof`, `answer` is the message to say.
    Step take(const MessageHeader& header, Clock::time_point now, MessageHeader& answer);

    bool isDone() const { return state_ == State::done; }

private:
    enum class State { challenge, welcome, done };

    const std::string secret_;
    const Ends ends_;
    State state_ = State::challenge;
    Digest receiverNonce_{};
    Digest senderNonce_{};
    HeartbeatCount heartbeats_;
};

} // namespace quol::vtp

#include "platform/vtp/Handshake.h"

namespace quol::vtp {

bool ReceiverHandshake::begin(MessageHeader& hello) {
    hello = MessageHeader();
    hello.type = MessageType::hello;
    hello.flags = secret_.empty() ? 0 : flagSecret;
    if (!makeNonce(receiverNonce_)) return false;
    hello.digest = receiverNonce_;
    return true;
}

ReceiverHandshake::Step ReceiverHandshake::take(const MessageHeader& header, Clock::time_point now,
                                                MessageHeader& answer) {
    switch (state_) {
        case State::challenge:
            if (header.type != MessageType::challenge) return Step::refused;
            senderNonce_ = header.digest;
            answer = MessageHeader();
            answer.type = MessageType::proof;
            answer.digest = receiverProof(secret_, senderNonce_, receiverNonce_, ends_);
            state_ = State::welcome;
            return Step::proof;
        case State::welcome:
            if (header.type != MessageType::welcome) return Step::refused;
            // Who was given a secret takes a stream only from those who share it.
            if (!secret_.empty() &&
                !isSameProof(senderProof(secret_, senderNonce_, receiverNonce_, ends_),
                             header.digest))
                return Step::refused;
            state_ = State::done;
            return Step::welcomed;
        case State::done:
            if (header.type == MessageType::heartbeat)
                return heartbeats_.takesOne(now) ? Step::nothing : Step::refused;
            return header.type == MessageType::picture || header.type == MessageType::sound
                       ? Step::media
                       : Step::refused;
    }
    return Step::refused;
}

} // namespace quol::vtp

// What waits to be sent to one receiver.
#pragma once

#include <deque>
#include <memory>

#include "platform/vtp/Message.h"

namespace quol::vtp {

// One message for any number of receivers.
struct Message {
    HeaderBytes header;
    SharedBlock payload; // null when there is none

    std::size_t size() const { return header.size + (payload ? payload->size() : 0); }
};
using MessagePtr = std::shared_ptr<const Message>;

// A header and its payload as a message; null when memory is short.
MessagePtr makeMessage(const MessageHeader& header, SharedBlock payload);

// Bounded: a receiver that is slow loses what is oldest, whole pictures and whole blocks of sound.
// Not for several threads at once.
class Outbox {
public:
    void addPicture(MessagePtr picture);
    void addSound(MessagePtr sound);

    // The message to send next, null when there is none. Sound first: it is small, and must not
    // arrive late behind a picture.
    MessagePtr next();

    bool isEmpty() const;

private:
    struct Queue {
        void add(MessagePtr message, std::size_t maxCount, std::size_t maxBytes);
        MessagePtr take();

        std::deque<MessagePtr> messages;
        std::size_t bytes = 0;
    };

    Queue pictures_;
    Queue sounds_;
};

} // namespace quol::vtp

#include "platform/vtp/Outbox.h"

#include <new>
#include <utility>

#include "platform/vtp/Limits.h"

namespace quol::vtp {

MessagePtr makeMessage(const MessageHeader& header, SharedBlock payload) {
    try {
        return std::make_shared<const Message>(Message{writeHeader(header), std::move(payload)});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// The last one stays, whatever its size.
void Outbox::Queue::add(MessagePtr message, std::size_t maxCount, std::size_t maxBytes) {
    const std::size_t size = message->size();
    messages.push_back(std::move(message)); // may throw
    bytes += size;
    while (messages.size() > 1 && (messages.size() > maxCount || bytes > maxBytes))
        take();
}

MessagePtr Outbox::Queue::take() {
    if (messages.empty()) return nullptr;
    MessagePtr message = std::move(messages.front());
    messages.pop_front();
    bytes -= message->size();
    return message;
}

void Outbox::addPicture(MessagePtr picture) {
    pictures_.add(std::move(picture), maxPicturesWaiting, maxPictureBytesWaiting);
}

void Outbox::addSound(MessagePtr sound) {
    sounds_.add(std::move(sound), maxSoundsWaiting, maxSoundBytesWaiting);
}

bool Outbox::isEmpty() const {
    return sounds_.messages.empty() && pictures_.messages.empty();
}

MessagePtr Outbox::next() {
    MessagePtr sound = sounds_.take();
    return sound ? sound : pictures_.take();
}

} // namespace quol::vtp

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

void Outbox::addPicture(MessagePtr picture) {
    pictures_.push_back(std::move(picture));
    if (pictures_.size() > maxPicturesWaiting) pictures_.pop_front();
}

void Outbox::addSound(MessagePtr sound) {
    soundBytes_ += sound->size();
    sounds_.push_back(std::move(sound));
    while (sounds_.size() > 1 &&
           (sounds_.size() > maxSoundsWaiting || soundBytes_ > maxSoundBytesWaiting)) {
        soundBytes_ -= sounds_.front()->size();
        sounds_.pop_front();
    }
}

MessagePtr Outbox::next() {
    std::deque<MessagePtr>& queue = sounds_.empty() ? pictures_ : sounds_;
    if (queue.empty()) return nullptr;
    MessagePtr message = std::move(queue.front());
    queue.pop_front();
    if (&queue == &sounds_) soundBytes_ -= message->size();
    return message;
}

} // namespace quol::vtp

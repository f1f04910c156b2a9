#include "platform/vtp/Connection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace quol::vtp {

namespace {

// Calls of one turn, so that one fast or talkative end does not keep the others waiting.
constexpr int sendsATurn = 16;
constexpr int readsATurn = 16;

} // namespace

Connection::Connection(Descriptor socket, const Ends& ends, const StreamInfo& stream,
                       const std::string& secret, BlockPool& pool, const Times& times,
                       Clock::time_point now)
    : socket_(std::move(socket)),
      ends_(ends),
      stream_(stream),
      secret_(secret),
      times_(times),
      pool_(pool),
      parser_(Reader::sender, pool),
      begun_(now),
      heard_(now),
      spoke_(now) {}

bool Connection::read(Clock::time_point now) {
    for (int i = 0; i < readsATurn; ++i) {
        const std::span<std::uint8_t> room = parser_.room();
        if (room.empty()) return false;
        const ssize_t got = recv(socket_.get(), room.data(), room.size(), 0);
        if (got < 0) return errno == EAGAIN || errno == EINTR;
        if (got == 0) return false;
        heard_ = now;
        const ParseResult result = parser_.taken(static_cast<std::size_t>(got));
        if (result == ParseResult::broken) return false;
        if (result == ParseResult::message && !take(parser_.header(), now)) return false;
    }
    return true;
}

// Each message in its place, and nothing else.
bool Connection::take(const MessageHeader& header, Clock::time_point now) {
    switch (state_) {
        case State::hello:
            return header.type == MessageType::hello && takeHello(header);
        case State::proof:
            return header.type == MessageType::proof && takeProof(header);
        case State::receiver:
            return header.type == MessageType::heartbeat && heartbeats_.takesOne(now);
    }
    return false;
}

bool Connection::takeHello(const MessageHeader& header) {
    receiverNonce_ = header.digest;
    if (!makeNonce(senderNonce_)) return false;
    MessageHeader challenge;
    challenge.type = MessageType::challenge;
    challenge.flags = secret_.empty() ? 0 : flagSecret;
    challenge.digest = senderNonce_;
    if (!say(challenge)) return false;
    state_ = State::proof;
    return true;
}

bool Connection::takeProof(const MessageHeader& header) {
    if (!secret_.empty() &&
        !isSameProof(receiverProof(secret_, senderNonce_, receiverNonce_, ends_), header.digest))
        return false;
    MessageHeader welcome;
    welcome.type = MessageType::welcome;
    welcome.digest = senderProof(secret_, senderNonce_, receiverNonce_, ends_);
    welcome.width = stream_.width;
    welcome.height = stream_.height;
    welcome.pictureRate = stream_.pictureRate;
    welcome.hasSound = stream_.hasSound ? 1 : 0;
    welcome.payloadBytes = static_cast<std::uint32_t>(stream_.name.size());
    const BlockPtr name = pool_.get(stream_.name.size());
    if (!name) return false;
    std::memcpy(name->data(), stream_.name.data(), stream_.name.size());
    if (!say(welcome, name)) return false;
    state_ = State::receiver;
    return true;
}

bool Connection::say(const MessageHeader& header, SharedBlock payload) {
    MessagePtr message = makeMessage(header, std::move(payload));
    if (!message) return false;
    own_.push_back(std::move(message));
    return true;
}

bool Connection::write(const std::function<MessagePtr()>& next, Clock::time_point now) {
    wantsToWrite_ = false;
    for (int i = 0; i < sendsATurn; ++i) {
        if (!current_) {
            sent_ = 0;
            if (!own_.empty()) {
                current_ = std::move(own_.front());
                own_.pop_front();
            } else if (isReceiver()) {
                current_ = next();
            }
        }
        if (!current_) return true;
        const int done = sendCurrent();
        if (done < 0) return false;
        spoke_ = now;
        if (done == 0) break;
        current_.reset();
    }
    wantsToWrite_ = true;
    return true;
}

int Connection::sendCurrent() {
    const HeaderBytes& header = current_->header;
    std::array<iovec, 2> parts{};
    std::size_t count = 0;
    if (sent_ < header.size) {
        // What is sent is only read, which the system's type cannot say.
        parts[count++] = {const_cast<std::uint8_t*>(header.bytes.data()) + sent_,
                          header.size - sent_};
    }
    if (current_->payload) {
        const std::size_t begun = sent_ > header.size ? sent_ - header.size : 0;
        parts[count++] = {const_cast<std::uint8_t*>(current_->payload->data()) + begun,
                          current_->payload->size() - begun};
    }
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = count;
    const ssize_t sent = sendmsg(socket_.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) return errno == EAGAIN || errno == EINTR ? 0 : -1;
    sent_ += static_cast<std::size_t>(sent);
    return sent_ == current_->size() ? 1 : 0;
}

void Connection::finish() {
    shutdown(socket_.get(), SHUT_WR);
}

bool Connection::keepAlive(Clock::time_point now) {
    if (!isReceiver()) return now - begun_ < times_.handshake;
    if (now - heard_ > times_.silence) return false;
    // One for which there is no memory is tried again soon.
    if (!isBusy() && now - spoke_ >= times_.heartbeat) say(MessageHeader());
    return true;
}

} // namespace quol::vtp

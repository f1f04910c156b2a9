// The messages of a connection, and how they lie in bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/vtp/Block.h"
#include "platform/vtp/Secret.h"

namespace quol::vtp {

enum class MessageType : std::uint8_t {
    hello = 1,     // receiver: its nonce
    challenge = 2, // sender: its nonce
    proof = 3,     // receiver: that it knows the secret
    welcome = 4,   // sender: that it knows the secret, and what comes
    picture = 5,   // sender
    sound = 6,     // sender
    heartbeat = 7, // both
};

constexpr std::size_t commonHeaderBytes = 32;
constexpr std::size_t maxHeaderBytes = 128;

// A header of the challenge or the hello: the other side has to prove that it knows the secret.
constexpr std::uint32_t flagSecret = 1;

// How a picture's payload is coded.
constexpr std::uint32_t codingNone = 0;
constexpr std::uint32_t codingStrips = 1;

// One message's header. Which of the fields after the common ones count is a matter of the type.
struct MessageHeader {
    MessageType type = MessageType::heartbeat;
    std::uint32_t payloadBytes = 0;
    std::uint32_t flags = 0;
    std::int64_t timestamp = 0;
    std::uint64_t sequence = 0;

    Digest digest{}; // nonce or proof

    std::uint32_t width = 0; // pictures, welcome
    std::uint32_t height = 0;
    std::uint32_t pixelFormat = 0; // pictures
    std::uint32_t coding = 0;
    std::uint32_t pictureRate = 0; // welcome
    std::uint32_t hasSound = 0;

    std::uint32_t sampleRate = 0; // sound
    std::uint32_t channels = 0;
    std::uint32_t samplesPerChannel = 0;
};

struct HeaderBytes {
    std::array<std::uint8_t, maxHeaderBytes> bytes{};
    std::size_t size = 0;
};

HeaderBytes writeHeader(const MessageHeader& header);

std::uint32_t bytesPerPixel(std::uint32_t pixelFormat);

// True for what may be sent: sizes within the limits.
bool isCarriedPicture(std::uint32_t width, std::uint32_t height, std::uint32_t pixelFormat);
bool isCarriedSound(std::uint32_t rate, std::uint32_t channels, std::uint32_t samples);

// What the bytes taken so far came to.
enum class ParseResult { more, message, broken };

// Which end of a connection reads: each takes only what the other may say.
enum class Reader { sender, receiver };

// Takes a connection's bytes as they come and finds the messages in them. Nothing is believed: each
// length is held against the limits of its type before anything is done with it, and until a
// receiver knows whom it talks to, pictures and sound are refused by their type: a header of theirs
// takes memory. Owned by one thread.
class MessageParser {
public:
    MessageParser(Reader reader, BlockPool& pool) : reader_(reader), pool_(pool) {}

    // The handshake is done: a receiver's sender may say pictures and sound from here on.
    void allowMedia() { takesMedia_ = true; }

    // Where the next bytes belong: read as many as come, but at least one, into it. Never empty,
    // but for a stream that is broken.
    std::span<std::uint8_t> room();

    // `count` bytes were put at the start of `room()`. After `message`, `header` and `payload` hold
    // until the next call of `room`. `broken` stays.
    ParseResult taken(std::size_t count);

    const MessageHeader& header() const { return header_; }
    const BlockPtr& payload() const { return payload_; } // null when there is none

private:
    ParseResult commonComplete();
    ParseResult headerComplete();
    bool isAllowed(MessageType type) const;
    bool isPayloadRight() const;

    const Reader reader_;
    BlockPool& pool_;
    bool takesMedia_ = false;
    ParseResult result_ = ParseResult::more;
    std::array<std::uint8_t, maxHeaderBytes> bytes_{};
    std::size_t have_ = 0; // bytes of header and payload
    std::size_t headerBytes_ = commonHeaderBytes;
    MessageHeader header_;
    BlockPtr payload_;
};

} // namespace quol::vtp

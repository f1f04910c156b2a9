// Messages in bytes and back, and what is not believed.
#include "platform/vtp/Message.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Outbox.h"
#include "platform/vtp/ReceivedQueue.h"

namespace {

using namespace quol::vtp;
using Bytes = std::vector<std::uint8_t>;

Bytes written(const MessageHeader& header, std::size_t payload) {
    const HeaderBytes bytes = writeHeader(header);
    Bytes all(bytes.bytes.begin(), bytes.bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size));
    for (std::size_t i = 0; i < payload; ++i)
        all.push_back(static_cast<std::uint8_t>(i * 7));
    return all;
}

MessageHeader pictureHeader(std::uint32_t width, std::uint32_t height) {
    MessageHeader header;
    header.type = MessageType::picture;
    header.width = width;
    header.height = height;
    header.pixelFormat = 2;
    header.payloadBytes = width * height * 3;
    header.timestamp = -123456789012345;
    header.sequence = 0x1122334455667788;
    return header;
}

MessageHeader soundHeader() {
    MessageHeader header;
    header.type = MessageType::sound;
    header.sampleRate = 48000;
    header.channels = 2;
    header.samplesPerChannel = 5;
    header.payloadBytes = 20;
    return header;
}

// Feeds the bytes, `step` at most at a time, and calls for each message.
ParseResult feed(MessageParser& parser, const Bytes& bytes, std::size_t step,
                 const std::function<void(const MessageParser&)>& message) {
    ParseResult result = ParseResult::more;
    for (std::size_t at = 0; at < bytes.size() && result != ParseResult::broken;) {
        const std::span<std::uint8_t> room = parser.room();
        if (room.empty()) return ParseResult::broken;
        const std::size_t count = std::min({step, room.size(), bytes.size() - at});
        std::memcpy(room.data(), &bytes[at], count);
        at += count;
        result = parser.taken(count);
        if (result == ParseResult::message) message(parser);
    }
    return result;
}

ParseResult readAs(Reader reader, const Bytes& bytes) {
    BlockPool pool;
    MessageParser parser(reader, pool);
    parser.allowMedia();
    return feed(parser, bytes, 4096, [](const MessageParser&) {});
}

TEST(VtpMessage, theHeaderLiesInBytesAsDescribed) {
    const Bytes bytes = written(pictureHeader(16, 8), 0);
    ASSERT_EQ(bytes.size(), 48u);
    const Bytes expected{'V',  'T',  'P',  '1',  1,    5,    48,   0,    0x80, 1,    0,    0,
                         0,    0,    0,    0,    0x87, 0x20, 0xf2, 0x79, 0xb7, 0x8f, 0xff, 0xff,
                         0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 16,   0,    0,    0,
                         8,    0,    0,    0,    2,    0,    0,    0,    0,    0,    0,    0};
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(written(soundHeader(), 0).size(), 48u);
    for (const auto& [type, size] :
         {std::pair(MessageType::hello, 64u), std::pair(MessageType::challenge, 64u),
          std::pair(MessageType::proof, 64u), std::pair(MessageType::welcome, 80u),
          std::pair(MessageType::heartbeat, 32u)}) {
        MessageHeader header;
        header.type = type;
        EXPECT_EQ(written(header, 0).size(), size);
    }
}

TEST(VtpMessage, messagesAreFoundHoweverTheirBytesCome) {
    Bytes stream = written(pictureHeader(16, 8), 16 * 8 * 3);
    const Bytes heartbeat = written(MessageHeader(), 0);
    const Bytes sound = written(soundHeader(), 20);
    stream.insert(stream.end(), heartbeat.begin(), heartbeat.end());
    stream.insert(stream.end(), sound.begin(), sound.end());
    for (const std::size_t step : {1u, 2u, 31u, 33u, 47u, 100000u}) {
        BlockPool pool;
        MessageParser parser(Reader::receiver, pool);
        parser.allowMedia();
        std::vector<MessageType> types;
        feed(parser, stream, step, [&](const MessageParser& p) {
            types.push_back(p.header().type);
            if (p.header().type == MessageType::picture) {
                EXPECT_EQ(p.header().width, 16u);
                EXPECT_EQ(p.header().height, 8u);
                EXPECT_EQ(p.header().pixelFormat, 2u);
                EXPECT_EQ(p.header().timestamp, -123456789012345);
                EXPECT_EQ(p.header().sequence, 0x1122334455667788u);
                ASSERT_EQ(p.payload()->size(), 384u);
                EXPECT_EQ(p.payload()->data()[383], static_cast<std::uint8_t>(383 * 7));
            }
            if (p.header().type == MessageType::sound) {
                EXPECT_EQ(p.header().samplesPerChannel, 5u);
                EXPECT_EQ(p.payload()->size(), 20u);
            }
        });
        EXPECT_EQ(types,
                  (std::vector{MessageType::picture, MessageType::heartbeat, MessageType::sound}));
    }
}

TEST(VtpMessage, aLongerHeaderOfALaterVersionIsPassedOver) {
    Bytes bytes = written(pictureHeader(2, 1), 0);
    bytes.resize(60, 0xee);
    bytes[6] = 60;
    for (std::uint8_t i = 0; i < 6; ++i)
        bytes.push_back(i);
    BlockPool pool;
    MessageParser parser(Reader::receiver, pool);
    parser.allowMedia();
    int messages = 0;
    feed(parser, bytes, 7, [&](const MessageParser& p) {
        ++messages;
        EXPECT_EQ(p.header().width, 2u);
        EXPECT_EQ(p.payload()->data()[5], 5);
    });
    EXPECT_EQ(messages, 1);
}

// The common part alone decides.
bool isRefused(Reader reader, int type, bool isWelcomed) {
    Bytes bytes = written(soundHeader(), 20);
    bytes[5] = static_cast<std::uint8_t>(type);
    bytes[6] = 80;
    BlockPool pool;
    MessageParser parser(reader, pool);
    if (isWelcomed) parser.allowMedia();
    std::memcpy(parser.room().data(), bytes.data(), 32);
    return parser.taken(32) == ParseResult::broken;
}

TEST(VtpMessage, eachEndTakesOnlyWhatTheOtherMaySay) {
    for (int type = 0; type < 256; ++type) {
        for (const bool isWelcomed : {false, true})
            EXPECT_EQ(isRefused(Reader::sender, type, isWelcomed),
                      type != 1 && type != 3 && type != 7)
                << type;
        EXPECT_EQ(isRefused(Reader::receiver, type, true), !(type == 2 || (type >= 4 && type <= 7)))
            << type;
    }
}

TEST(VtpMessage, picturesAndSoundAreRefusedUntilTheHandshakeIsDone) {
    for (int type = 0; type < 256; ++type)
        EXPECT_EQ(isRefused(Reader::receiver, type, false), type != 2 && type != 4 && type != 7)
            << type;
}

TEST(VtpMessage, aWrongCommonPartBreaksTheStream) {
    const Bytes good = written(soundHeader(), 20);
    EXPECT_EQ(readAs(Reader::receiver, good), ParseResult::message);
    for (std::size_t at = 0; at < 5; ++at) {
        Bytes bad = good;
        bad[at] ^= 1;
        EXPECT_EQ(readAs(Reader::receiver, bad), ParseResult::broken) << at;
    }
    for (const int length : {0, 31, 32, 47, 129, 65535}) {
        Bytes bad = good;
        putNumber(&bad[6], static_cast<std::uint16_t>(length));
        EXPECT_EQ(readAs(Reader::receiver, bad), ParseResult::broken) << length;
    }
}

TEST(VtpMessage, aBrokenStreamStaysBroken) {
    BlockPool pool;
    MessageParser parser(Reader::receiver, pool);
    ASSERT_EQ(feed(parser, Bytes(32, 'x'), 32, [](const MessageParser&) {}), ParseResult::broken);
    EXPECT_TRUE(parser.room().empty());
    EXPECT_EQ(parser.taken(0), ParseResult::broken);
}

TEST(VtpMessage, pictureLengthsAreHeldAgainstTheLimits) {
    const auto result = [](std::uint32_t width, std::uint32_t height, std::uint32_t format,
                           std::uint32_t coding, std::uint64_t payload) {
        MessageHeader header = pictureHeader(1, 1);
        header.width = width;
        header.height = height;
        header.pixelFormat = format;
        header.coding = coding;
        header.payloadBytes = static_cast<std::uint32_t>(payload);
        return readAs(Reader::receiver, written(header, 0));
    };
    EXPECT_EQ(result(8192, 4320, 1, 0, 8192u * 4320 * 4), ParseResult::more);
    EXPECT_EQ(result(8192, 5760, 2, 0, 8192u * 5760 * 3), ParseResult::more);
    EXPECT_EQ(result(8192, 4321, 1, 0, 8192u * 4321 * 4), ParseResult::broken);
    EXPECT_EQ(result(8193, 16, 2, 0, 8193u * 16 * 3), ParseResult::broken);
    EXPECT_EQ(result(16, 8193, 2, 0, 8193u * 16 * 3), ParseResult::broken);
    EXPECT_EQ(result(0, 8, 2, 0, 0), ParseResult::broken);
    EXPECT_EQ(result(8, 0, 2, 0, 0), ParseResult::broken);
    EXPECT_EQ(result(0xffffffff, 0xffffffff, 2, 0, 3), ParseResult::broken);
    EXPECT_EQ(result(0x80000000, 2, 1, 0, 0), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 4, 0, 384), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 2, 0, 383), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 2, 0, 385), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 1, 0, 384), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 2, 2, 100), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 2, 1, 0), ParseResult::broken);
    EXPECT_EQ(result(16, 8, 2, 1, 384 + 65536), ParseResult::more);
    EXPECT_EQ(result(16, 8, 2, 1, 384 + 65537), ParseResult::broken);
}

TEST(VtpMessage, soundLengthsAreHeldAgainstTheLimits) {
    const auto result = [](std::uint32_t rate, std::uint32_t channels, std::uint32_t samples,
                           std::uint64_t payload) {
        MessageHeader header = soundHeader();
        header.sampleRate = rate;
        header.channels = channels;
        header.samplesPerChannel = samples;
        header.payloadBytes = static_cast<std::uint32_t>(payload);
        return readAs(Reader::receiver, written(header, 0));
    };
    EXPECT_EQ(result(384000, 16, 384000, 384000u * 32), ParseResult::more);
    EXPECT_EQ(result(48000, 2, 48000, 48000u * 4), ParseResult::more);
    EXPECT_EQ(result(48000, 2, 48001, 48001u * 4), ParseResult::broken);
    EXPECT_EQ(result(384001, 1, 1, 2), ParseResult::broken);
    EXPECT_EQ(result(0, 1, 1, 2), ParseResult::broken);
    EXPECT_EQ(result(48000, 0, 1, 0), ParseResult::broken);
    EXPECT_EQ(result(48000, 17, 1, 34), ParseResult::broken);
    EXPECT_EQ(result(48000, 2, 0, 0), ParseResult::broken);
    EXPECT_EQ(result(48000, 2, 5, 19), ParseResult::broken);
    EXPECT_EQ(result(48000, 2, 5, 21), ParseResult::broken);
    EXPECT_EQ(result(48000, 2, 0x40000005, 20), ParseResult::broken);
}

TEST(VtpMessage, handshakesCarryNothingElse) {
    for (const MessageType type :
         {MessageType::hello, MessageType::proof, MessageType::challenge, MessageType::heartbeat}) {
        const Reader reader = type == MessageType::challenge ? Reader::receiver : Reader::sender;
        MessageHeader header;
        header.type = type;
        EXPECT_EQ(readAs(reader, written(header, 0)), ParseResult::message);
        header.payloadBytes = 1;
        EXPECT_EQ(readAs(reader, written(header, 0)), ParseResult::broken);
    }
    MessageHeader welcome;
    welcome.type = MessageType::welcome;
    welcome.width = 1920;
    welcome.height = 1080;
    welcome.payloadBytes = 127;
    EXPECT_EQ(readAs(Reader::receiver, written(welcome, 127)), ParseResult::message);
    welcome.payloadBytes = 128;
    EXPECT_EQ(readAs(Reader::receiver, written(welcome, 128)), ParseResult::broken);
}

MessagePtr message(std::size_t bytes, std::int64_t number) {
    MessageHeader header;
    header.timestamp = number;
    BlockPool pool;
    return makeMessage(header, pool.get(bytes));
}

std::int64_t numberOf(const MessagePtr& message) {
    return getNumber<std::int64_t>(message->header.bytes.data() + 16);
}

TEST(VtpMessage, anOutboxKeepsTheNewestPicturesAndSendsSoundFirst) {
    Outbox outbox;
    EXPECT_EQ(outbox.next(), nullptr);
    for (int i = 0; i < 20; ++i)
        outbox.addPicture(message(100, i));
    for (int i = 100; i < 300; ++i)
        outbox.addSound(message(10, i));
    for (int i = 300 - 128; i < 300; ++i)
        EXPECT_EQ(numberOf(outbox.next()), i);
    for (int i = 12; i < 20; ++i)
        EXPECT_EQ(numberOf(outbox.next()), i);
    EXPECT_EQ(outbox.next(), nullptr);
}

TEST(VtpMessage, anOutboxHoldsPicturesOfSoManyBytes) {
    Outbox outbox;
    for (int i = 0; i < 6; ++i)
        outbox.addPicture(message(50 << 20, i));
    EXPECT_EQ(numberOf(outbox.next()), 4);
    EXPECT_EQ(numberOf(outbox.next()), 5);
    EXPECT_EQ(outbox.next(), nullptr);
}

TEST(VtpMessage, anOutboxHoldsSoundOfSoManyBytesButAlwaysTheLast) {
    Outbox outbox;
    for (int i = 0; i < 10; ++i)
        outbox.addSound(message(1 << 20, i));
    for (int i = 7; i < 10; ++i)
        EXPECT_EQ(numberOf(outbox.next()), i);
    EXPECT_EQ(outbox.next(), nullptr);
    outbox.addSound(message(12 << 20, 11));
    EXPECT_EQ(numberOf(outbox.next()), 11);
}

TEST(VtpMessage, whatWasReceivedIsKeptWithinItsLimits) {
    BlockPool pool;
    ReceivedQueue queue(3, 1000);
    EXPECT_FALSE(queue.take());
    for (int i = 0; i < 5; ++i) {
        MessageHeader header;
        header.timestamp = i;
        queue.add({header, pool.get(10)});
    }
    EXPECT_EQ(queue.take()->header.timestamp, 2);
    MessageHeader large;
    large.timestamp = 9;
    queue.add({large, pool.get(5000)});
    EXPECT_EQ(queue.take()->header.timestamp, 9);
    EXPECT_FALSE(queue.take());
}

TEST(VtpMessage, blocksAreUsedAgainAndMayOutliveTheirPool) {
    BlockPtr kept;
    {
        BlockPool pool;
        BlockPtr block = pool.get(1000000);
        const std::uint8_t* memory = block->data();
        block.reset();
        kept = pool.get(900000);
        EXPECT_EQ(kept->data(), memory);
        EXPECT_EQ(kept->size(), 900000u);
        EXPECT_NE(pool.get(1000000)->data(), memory);
    }
    kept->data()[899999] = 1;
    EXPECT_EQ(kept->data()[899999], 1);
}

} // namespace

// What a receiver takes from a sender, and when.
#include "platform/vtp/Handshake.h"

#include <gtest/gtest.h>

namespace {

using namespace quol::vtp;
using Step = ReceiverHandshake::Step;

const Ends ends{{0x0a4d0001, 47000}, {0x0a4d0002, 50001}};
const Clock::time_point start{std::chrono::seconds(1000)};

MessageHeader message(MessageType type, const Digest& digest = {}) {
    MessageHeader header;
    header.type = type;
    header.digest = digest;
    return header;
}

constexpr MessageType all[] = {MessageType::hello,    MessageType::challenge, MessageType::proof,
                               MessageType::welcome,  MessageType::picture,   MessageType::sound,
                               MessageType::heartbeat};

Step step(ReceiverHandshake& handshake, MessageType type) {
    MessageHeader answer;
    return handshake.take(message(type), start, answer);
}

TEST(VtpHandshake, helloTellsOfTheSecretAndHasANonceOfItsOwn) {
    MessageHeader one;
    MessageHeader two;
    ASSERT_TRUE(ReceiverHandshake("", ends).begin(one));
    ASSERT_TRUE(ReceiverHandshake("secret", ends).begin(two));
    EXPECT_EQ(one.type, MessageType::hello);
    EXPECT_EQ(one.flags, 0u);
    EXPECT_EQ(two.flags, flagSecret);
    EXPECT_NE(one.digest, two.digest);
    EXPECT_NE(one.digest, Digest{});
}

TEST(VtpHandshake, messagesComeInTheirPlaceOrNotAtAll) {
    for (const MessageType first : all) {
        ReceiverHandshake handshake("", ends);
        EXPECT_EQ(step(handshake, first),
                  first == MessageType::challenge ? Step::proof : Step::refused);
    }
    for (const MessageType second : all) {
        ReceiverHandshake handshake("", ends);
        step(handshake, MessageType::challenge);
        EXPECT_FALSE(handshake.isDone());
        EXPECT_EQ(step(handshake, second),
                  second == MessageType::welcome ? Step::welcomed : Step::refused);
    }
    for (const MessageType third : all) {
        ReceiverHandshake handshake("", ends);
        step(handshake, MessageType::challenge);
        step(handshake, MessageType::welcome);
        EXPECT_TRUE(handshake.isDone());
        const bool isMedia = third == MessageType::picture || third == MessageType::sound;
        const Step expected = isMedia                           ? Step::media
                              : third == MessageType::heartbeat ? Step::nothing
                                                                : Step::refused;
        EXPECT_EQ(step(handshake, third), expected);
    }
}

TEST(VtpHandshake, proofsAreThoseOfNoncesAndEnds) {
    Digest senderNonce{};
    senderNonce[5] = 77;
    const auto last = [&](const std::string& secret, const Ends& of) {
        ReceiverHandshake handshake("secret", ends);
        MessageHeader hello;
        handshake.begin(hello);
        MessageHeader answer;
        EXPECT_EQ(handshake.take(message(MessageType::challenge, senderNonce), start, answer),
                  Step::proof);
        EXPECT_EQ(answer.type, MessageType::proof);
        EXPECT_EQ(answer.digest, receiverProof("secret", senderNonce, hello.digest, ends));
        return handshake.take(
            message(MessageType::welcome, senderProof(secret, senderNonce, hello.digest, of)),
            start, answer);
    };
    EXPECT_EQ(last("secret", ends), Step::welcomed);
    EXPECT_EQ(last("Secret", ends), Step::refused);
    Ends others = ends;
    ++others.receiver.port;
    EXPECT_EQ(last("secret", others), Step::refused);
}

TEST(VtpHandshake, aFloodOfHeartbeatsIsNotTaken) {
    HeartbeatCount count;
    for (int second = 0; second < 3; ++second) {
        const auto begun = start + std::chrono::seconds(second);
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(count.takesOne(begun + std::chrono::milliseconds(49 * i))) << i;
        EXPECT_FALSE(count.takesOne(begun + std::chrono::milliseconds(999)));
    }
    ReceiverHandshake handshake("", ends);
    step(handshake, MessageType::challenge);
    step(handshake, MessageType::welcome);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(step(handshake, MessageType::heartbeat), Step::nothing);
    EXPECT_EQ(step(handshake, MessageType::heartbeat), Step::refused);
}

} // namespace

// Any bytes on a connection, read by either end in pieces of any size and taken by either end's
// side of the handshake, any datagram heard, any coded picture's strips.
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/vtp/Connection.h"
#include "platform/vtp/Handshake.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/SourceTable.h"
#include "platform/vtp/StripCheck.h"

namespace {

using namespace quol::vtp;

void require(bool holds) {
    if (!holds) std::abort();
}

void checkMessage(Reader reader, const MessageParser& parser) {
    const MessageHeader& header = parser.header();
    require((parser.payload() ? parser.payload()->size() : 0) == header.payloadBytes);
    const bool isMedia = header.type == MessageType::picture || header.type == MessageType::sound;
    require(reader == Reader::receiver || (!isMedia && header.payloadBytes == 0));
    if (header.type == MessageType::picture) {
        require(isCarriedPicture(header.width, header.height, header.pixelFormat));
        require(header.coding != codingNone ||
                header.payloadBytes ==
                    header.width * header.height * bytesPerPixel(header.pixelFormat));
    }
    if (header.type == MessageType::sound)
        require(header.payloadBytes == header.samplesPerChannel * header.channels * 2);
    // What was understood is written as it was read, but for what later versions add.
    const HeaderBytes again = writeHeader(header);
    BlockPool pool;
    MessageParser second(reader, pool);
    second.allowMedia();
    std::memcpy(second.room().data(), again.bytes.data(), commonHeaderBytes);
    require(second.taken(commonHeaderBytes) != ParseResult::broken);
}

// What comes before the stream comes in its order, whatever is said.
class CheckedHandshake {
public:
    explicit CheckedHandshake(const char* secret)
        : handshake_(secret, Ends{}), hasSecret_(*secret != 0) {
        MessageHeader hello;
        require(handshake_.begin(hello));
    }

    bool take(const MessageHeader& header) {
        using Step = ReceiverHandshake::Step;
        MessageHeader answer;
        const bool wasDone = handshake_.isDone();
        const Step step = handshake_.take(header, Clock::time_point{}, answer);
        require(step != Step::proof || (header.type == MessageType::challenge && !wasAsked_));
        require(step != Step::welcomed || (wasAsked_ && !hasSecret_));
        require((step != Step::media && step != Step::nothing) || wasDone);
        wasAsked_ = wasAsked_ || step == Step::proof;
        return step != Step::refused;
    }

    bool isDone() const { return handshake_.isDone(); }

private:
    ReceiverHandshake handshake_;
    const bool hasSecret_;
    bool wasAsked_ = false;
};

// A sender's end, on a socket of which nobody reads.
void talkTo(const std::string& secret, std::span<const std::uint8_t> bytes) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) return;
    const Descriptor other(ends[1]);
    const StreamInfo stream{"name", 16, 8, 25, true};
    const Times times;
    BlockPool pool;
    const Clock::time_point now{};
    Connection connection(Descriptor(ends[0]), Ends{}, stream, secret, pool, times, now);
    send(other.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    const auto nothing = [] { return MessagePtr(); };
    for (std::size_t i = 0; i < bytes.size() + 2; ++i) {
        if (!connection.read(now) || !connection.write(nothing, now)) return;
        require(secret.empty() || !connection.isReceiver());
    }
}

void splitPicture(std::span<const std::uint8_t> bytes, std::uint32_t height) {
    Strips strips;
    if (!splitStrips(bytes, height, strips)) return;
    require(!strips.parts.empty() && strips.parts.size() <= maxStrips);
    require(std::uint64_t{strips.rows} * strips.parts.size() >= height);
    require(std::uint64_t{strips.rows} * (strips.parts.size() - 1) < height);
    const std::uint8_t* at = bytes.data() + 8 + 4 * strips.parts.size();
    for (const auto& part : strips.parts) {
        require(!part.empty() && part.data() == at);
        at += part.size();
        std::vector<std::uint8_t> copy(part.size());
        if (isPlainJpeg(part, 96, 16)) require(copyUnlabelled(part, copy.data()) <= part.size());
    }
    require(at == bytes.data() + bytes.size());
}

// With `isWelcomed` the handshake is taken as done from the beginning.
void readStream(Reader reader, bool isWelcomed, std::span<const std::uint8_t> bytes,
                std::size_t step) {
    BlockPool pool;
    MessageParser parser(reader, pool);
    if (isWelcomed) parser.allowMedia();
    CheckedHandshake open("");
    CheckedHandshake secret("sesame");
    bool isOpen = true;
    bool isSecret = true;
    while (!bytes.empty()) {
        const std::span<std::uint8_t> room = parser.room();
        require(!room.empty());
        const std::size_t count = std::min({step, room.size(), bytes.size()});
        std::memcpy(room.data(), bytes.data(), count);
        bytes = bytes.subspan(count);
        const ParseResult result = parser.taken(count);
        if (result == ParseResult::broken) {
            require(parser.room().empty());
            return;
        }
        if (result != ParseResult::message) continue;
        checkMessage(reader, parser);
        const MessageType type = parser.header().type;
        const bool isMedia = type == MessageType::picture || type == MessageType::sound;
        require(!isMedia || isWelcomed || open.isDone());
        isOpen = isOpen && open.take(parser.header());
        if (isOpen && open.isDone()) parser.allowMedia();
        isSecret = isSecret && secret.take(parser.header());
    }
}

void hear(std::span<const std::uint8_t> bytes, Address from) {
    const auto announcement = readAnnouncement(bytes);
    if (!announcement) return;
    require(announcement->port != 0 && announcement->name.size() <= maxNameBytes);
    require(shownName(announcement->name, maxNameBytes) == announcement->name);
    const Clock::time_point now{};
    SourceTable table;
    table.hear(*announcement, from, now);
    Announcement other = *announcement;
    other.instance[15] ^= 1;
    other.port = static_cast<std::uint16_t>(other.port == 1 ? 2 : 1);
    table.hear(other, from, now);
    for (const vtp_source_record& record : table.records()) {
        require(std::memchr(record.name, 0, sizeof record.name) != nullptr);
        require(std::memchr(record.host, 0, sizeof record.host) != nullptr);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::span<const std::uint8_t> bytes(data + 1, size - 1);
    const std::size_t step = std::size_t{1} + data[0] / 2;
    // A stream of several messages, as each end would read it, and the same as a datagram and a
    // strip.
    for (const bool isWelcomed : {false, true})
        readStream(data[0] % 2 == 0 ? Reader::sender : Reader::receiver, isWelcomed, bytes, step);
    hear(bytes, 0x7f000001u + data[0]);
    talkTo("", bytes);
    talkTo("sesame", bytes);
    splitPicture(bytes, std::uint32_t{1} + data[0]);
    std::vector<std::uint8_t> copy(bytes.size());
    if (isPlainJpeg(bytes, 96, 16)) require(copyUnlabelled(bytes, copy.data()) <= bytes.size());
    return 0;
}

// Any bytes on a connection, read by either end in pieces of any size, any datagram heard, any
// strip.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

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
    std::memcpy(second.room().data(), again.bytes.data(), commonHeaderBytes);
    require(second.taken(commonHeaderBytes) != ParseResult::broken);
}

void readStream(Reader reader, std::span<const std::uint8_t> bytes, std::size_t step) {
    BlockPool pool;
    MessageParser parser(reader, pool);
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
        if (result == ParseResult::message) checkMessage(reader, parser);
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
    readStream(data[0] % 2 == 0 ? Reader::sender : Reader::receiver, bytes, step);
    hear(bytes, 0x7f000001u + data[0]);
    isPlainJpeg(bytes, 96, 16);
    return 0;
}

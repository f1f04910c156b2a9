#include "platform/vtp/Message.h"

#include <algorithm>
#include <cstring>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Limits.h"

namespace quol::vtp {

namespace {

constexpr std::array<std::uint8_t, 4> magic{'V', 'T', 'P', '1'};
constexpr std::uint8_t version = 1;

// Bytes of the fields after the common ones; a header may be longer, the rest is passed over.
std::size_t fieldBytes(MessageType type) {
    switch (type) {
        case MessageType::hello:
        case MessageType::challenge:
        case MessageType::proof:
            return 32;
        case MessageType::welcome:
            return 48;
        case MessageType::picture:
        case MessageType::sound: // the last four bytes are zero
            return 16;
        case MessageType::heartbeat:
            return 0;
    }
    return 0;
}

// Both ways through the fields in one list, so that they cannot differ.
template <typename Header, typename Visit>
void visitFields(Header& header, Visit visit) {
    switch (header.type) {
        case MessageType::hello:
        case MessageType::challenge:
        case MessageType::proof:
            visit(header.digest);
            break;
        case MessageType::welcome:
            visit(header.digest);
            visit(header.width);
            visit(header.height);
            visit(header.pictureRate);
            visit(header.hasSound);
            break;
        case MessageType::picture:
            visit(header.width);
            visit(header.height);
            visit(header.pixelFormat);
            visit(header.coding);
            break;
        case MessageType::sound:
            visit(header.sampleRate);
            visit(header.channels);
            visit(header.samplesPerChannel);
            break;
        case MessageType::heartbeat:
            break;
    }
}

struct FieldWriter {
    std::uint8_t* to;

    void operator()(const Digest& digest) {
        std::memcpy(to, digest.data(), digest.size());
        to += digest.size();
    }
    void operator()(const std::uint32_t& number) {
        putNumber(to, number);
        to += sizeof number;
    }
};

struct FieldReader {
    const std::uint8_t* from;

    void operator()(Digest& digest) {
        std::memcpy(digest.data(), from, digest.size());
        from += digest.size();
    }
    void operator()(std::uint32_t& number) {
        number = getNumber<std::uint32_t>(from);
        from += sizeof number;
    }
};

} // namespace

HeaderBytes writeHeader(const MessageHeader& header) {
    HeaderBytes out;
    out.size = commonHeaderBytes + fieldBytes(header.type);
    std::uint8_t* bytes = out.bytes.data();
    std::memcpy(bytes, magic.data(), magic.size());
    bytes[4] = version;
    bytes[5] = static_cast<std::uint8_t>(header.type);
    putNumber(bytes + 6, static_cast<std::uint16_t>(out.size));
    putNumber(bytes + 8, header.payloadBytes);
    putNumber(bytes + 12, header.flags);
    putNumber(bytes + 16, header.timestamp);
    putNumber(bytes + 24, header.sequence);
    visitFields(header, FieldWriter{bytes + commonHeaderBytes});
    return out;
}

std::uint32_t bytesPerPixel(std::uint32_t pixelFormat) {
    return pixelFormat == 1 || pixelFormat == 3 ? 4 : 3;
}

bool isCarriedPicture(std::uint32_t width, std::uint32_t height, std::uint32_t pixelFormat) {
    return width > 0 && width <= maxWidth && height > 0 && height <= maxHeight &&
           pixelFormat <= 3 &&
           static_cast<std::size_t>(width) * height * bytesPerPixel(pixelFormat) <= maxPictureBytes;
}

bool isCarriedSound(std::uint32_t rate, std::uint32_t channels, std::uint32_t samples) {
    return rate > 0 && rate <= maxSampleRate && channels > 0 && channels <= maxChannels &&
           samples > 0 && samples <= rate;
}

std::span<std::uint8_t> MessageParser::room() {
    if (result_ == ParseResult::broken) return {};
    if (result_ == ParseResult::message) {
        result_ = ParseResult::more;
        have_ = 0;
        headerBytes_ = commonHeaderBytes;
        payload_.reset();
    }
    if (have_ < headerBytes_) return std::span(bytes_).subspan(have_, headerBytes_ - have_);
    const std::size_t begun = have_ - headerBytes_;
    return {payload_->data() + begun, payload_->size() - begun};
}

ParseResult MessageParser::taken(std::size_t count) {
    if (result_ == ParseResult::broken) return result_;
    have_ += count;
    if (have_ == commonHeaderBytes && headerBytes_ == commonHeaderBytes) {
        result_ = commonComplete();
    } else if (have_ == headerBytes_) {
        result_ = headerComplete();
    } else if (have_ > headerBytes_ && have_ == headerBytes_ + header_.payloadBytes) {
        result_ = ParseResult::message;
    }
    return result_;
}

ParseResult MessageParser::commonComplete() {
    const std::uint8_t* bytes = bytes_.data();
    if (!std::equal(magic.begin(), magic.end(), bytes) || bytes[4] != version)
        return ParseResult::broken;
    header_ = MessageHeader();
    header_.type = static_cast<MessageType>(bytes[5]);
    if (!isAllowed(header_.type)) return ParseResult::broken;
    headerBytes_ = getNumber<std::uint16_t>(bytes + 6);
    if (headerBytes_ < commonHeaderBytes + fieldBytes(header_.type) ||
        headerBytes_ > maxHeaderBytes)
        return ParseResult::broken;
    header_.payloadBytes = getNumber<std::uint32_t>(bytes + 8);
    header_.flags = getNumber<std::uint32_t>(bytes + 12);
    header_.timestamp = getNumber<std::int64_t>(bytes + 16);
    header_.sequence = getNumber<std::uint64_t>(bytes + 24);
    return headerBytes_ == commonHeaderBytes ? headerComplete() : ParseResult::more;
}

bool MessageParser::isAllowed(MessageType type) const {
    switch (type) {
        case MessageType::hello:
        case MessageType::proof:
            return reader_ == Reader::sender;
        case MessageType::challenge:
        case MessageType::welcome:
            return reader_ == Reader::receiver;
        case MessageType::picture:
        case MessageType::sound:
            return reader_ == Reader::receiver && takesMedia_;
        case MessageType::heartbeat:
            return true;
    }
    return false;
}

ParseResult MessageParser::headerComplete() {
    visitFields(header_, FieldReader{bytes_.data() + commonHeaderBytes});
    if (!isPayloadRight()) return ParseResult::broken;
    if (header_.payloadBytes == 0) return ParseResult::message;
    payload_ = pool_.get(header_.payloadBytes);
    return payload_ ? ParseResult::more : ParseResult::broken;
}

bool MessageParser::isPayloadRight() const {
    const std::size_t size = header_.payloadBytes;
    switch (header_.type) {
        case MessageType::hello:
        case MessageType::challenge:
        case MessageType::proof:
        case MessageType::heartbeat:
            return size == 0;
        case MessageType::welcome:
            return size <= maxNameBytes && isCarriedPicture(header_.width, header_.height, 0) &&
                   header_.pictureRate <= maxPictureRate && header_.hasSound <= 1;
        case MessageType::picture: {
            if (!isCarriedPicture(header_.width, header_.height, header_.pixelFormat)) return false;
            const std::size_t plain = static_cast<std::size_t>(header_.width) * header_.height *
                                      bytesPerPixel(header_.pixelFormat);
            if (header_.coding == codingNone) return size == plain;
            return header_.coding == codingStrips && size > 0 && size <= maxCodedBytes(plain);
        }
        case MessageType::sound:
            return isCarriedSound(header_.sampleRate, header_.channels,
                                  header_.samplesPerChannel) &&
                   size == std::size_t{2} * header_.channels * header_.samplesPerChannel;
    }
    return false;
}

} // namespace quol::vtp

// Intra coding of pictures: strips of rows, each a JPEG picture of its own, so that several
// processors share the work of one picture at both ends.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "core/Handles.h"
#include "core/WorkerTeam.h"
#include "platform/vtp/Block.h"
#include "platform/vtp/CodingBudget.h"
#include "platform/vtp/StripCheck.h"

namespace quol::vtp {

// Rows in a strip: whole blocks of the coder.
constexpr std::uint32_t stripRows(std::uint32_t height, std::uint32_t strips) {
    return (height + strips * 16 - 1) / (strips * 16) * 16;
}

// Strips are coded at sizes that swscale and the coder treat well: they would read and write past
// the end of rows of odd lengths.
constexpr std::uint32_t codedWidth(std::uint32_t width) {
    return (width + 15) / 16 * 16;
}

constexpr std::uint32_t codedRows(std::uint32_t rows) {
    return (rows + 1) / 2 * 2;
}

// Owned by one thread.
class PictureEncoder {
public:
    // Pictures keep within a budget of so many bytes each.
    explicit PictureEncoder(std::size_t bytesAPicture);

    // Nothing but null when it cannot be done, or the budget leaves the picture out. `quality`
    // chooses how colours are converted: 0, 1, 2.
    BlockPtr encode(const std::uint8_t* picture, std::uint32_t width, std::uint32_t height,
                    std::uint32_t pixelFormat, int quality, BlockPool& pool);

private:
    struct Strip {
        CodecContextPtr codec;
        SwsPtr scaler;
        FramePtr padded; // the plain strip, where it is not taken from the picture itself
        FramePtr frame;
        PacketPtr packet;
        std::uint32_t rows = 0;
        bool isConverted = false;
        bool isReady = false;
    };
    struct Key {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::uint32_t pixelFormat = 0;
        int quality = 0;
        bool operator==(const Key&) const = default;
    };

    void prepare(const Key& key);
    bool convert(Strip& strip, const std::uint8_t* rows);
    static void code(Strip& strip, int quantizer);
    std::size_t codedBytes() const;
    BlockPtr collect(BlockPool& pool);

    WorkerTeam team_;
    CodingBudget budget_;
    Key key_;
    std::uint32_t rows_ = 0;
    std::vector<Strip> strips_;
};

// Owned by one thread.
class PictureDecoder {
public:
    PictureDecoder();

    // The picture as it was sent, alpha apart, which is opaque. Null for anything that is not such
    // a picture of that very size.
    BlockPtr decode(std::span<const std::uint8_t> coded, std::uint32_t width, std::uint32_t height,
                    std::uint32_t pixelFormat, BlockPool& pool);

private:
    struct StripKey {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::uint32_t pixelFormat = 0;
        bool operator==(const StripKey&) const = default;
    };
    struct Strip {
        CodecContextPtr codec;
        SwsPtr scaler; // for key
        StripKey key;
        FramePtr padded; // the plain strip, where it does not go into the picture itself
        FramePtr frame;
        PacketPtr packet;
        bool isDone = false;
    };

    static void decodeStrip(Strip& strip, std::span<const std::uint8_t> coded, std::uint8_t* to,
                            const StripKey& key);
    static bool decodePlanes(Strip& strip, std::span<const std::uint8_t> coded,
                             const StripKey& key);
    static bool convert(Strip& strip, std::uint8_t* to, const StripKey& key);

    WorkerTeam team_;
    std::vector<Strip> strips_;
    Strips split_;
};

} // namespace quol::vtp

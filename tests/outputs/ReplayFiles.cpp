#include "outputs/ReplayFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "core/PlainFile.h"
#include "outputs/ReplayDecoder.h"
#include "outputs/ReplayEncoder.h"
#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/Replays.h"
#include "support/SmallDisk.h"

namespace {

using quol::ReplayPiece;
using quol::ReplayReader;
using quol::ReplayWriter;

std::vector<std::uint8_t> someBytes(std::size_t count, std::uint8_t from = 0) {
    std::vector<std::uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), from);
    return bytes;
}

ReplayPiece append(ReplayWriter& writer, const std::vector<std::uint8_t>& bytes) {
    return writer.append(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

bool reads(const ReplayReader& reader, const ReplayPiece& piece,
           const std::vector<std::uint8_t>& expected) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(piece.size));
    return reader.read(piece, bytes.data()) && bytes == expected;
}

TEST(ReplayFiles, WhatIsWrittenCanBeReadAtOnce) {
    const std::string path = test::temporaryPath("pieces.bin");
    const auto writer = ReplayWriter::create(path);
    ASSERT_NE(writer, nullptr);
    const auto reader = ReplayReader::open(path);
    ASSERT_NE(reader, nullptr);
    std::int64_t end = 0;
    for (const std::size_t size : {1000U, 1U, 70000U}) {
        const auto bytes = someBytes(size, static_cast<std::uint8_t>(size));
        const ReplayPiece piece = append(*writer, bytes);
        EXPECT_EQ(piece.offset, end);
        EXPECT_EQ(piece.size, static_cast<std::int32_t>(size));
        EXPECT_TRUE(reads(*reader, piece, bytes));
        end += piece.size;
    }
    EXPECT_EQ(std::filesystem::file_size(path), static_cast<std::uintmax_t>(end));
}

TEST(ReplayFiles, AnotherRecordingEmptiesTheFile) {
    const std::string path = test::temporaryPath("again.bin");
    append(*ReplayWriter::create(path), someBytes(100));
    EXPECT_EQ(std::filesystem::file_size(path), 100U);
    const auto writer = ReplayWriter::create(path);
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
}

TEST(ReplayFiles, WhatCannotBeMadeOrOpenedIsNull) {
    EXPECT_EQ(ReplayWriter::create("/nowhere/file.bin"), nullptr);
    EXPECT_EQ(ReplayWriter::create(""), nullptr);
    EXPECT_EQ(ReplayWriter::create("/tmp"), nullptr);
    EXPECT_EQ(ReplayReader::open("/nowhere/file.bin"), nullptr);
    const std::string pipe = test::temporaryPath("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ReplayWriter::create(pipe), nullptr); // and does not wait for a reader
}

TEST(ReplayFiles, AShortReadIsNoRead) {
    const std::string path = test::temporaryPath("short.bin");
    const auto writer = ReplayWriter::create(path);
    const auto bytes = someBytes(1000);
    const ReplayPiece piece = append(*writer, bytes);
    const auto reader = ReplayReader::open(path);
    std::vector<std::uint8_t> read(1001);
    EXPECT_FALSE(reader->read({piece.offset, piece.size + 1}, read.data()));
    EXPECT_FALSE(reader->read({5000, 10}, read.data()));
    EXPECT_FALSE(reader->read({0, 0}, read.data()));
    EXPECT_FALSE(reader->read({0, -5}, read.data()));
    EXPECT_FALSE(reader->read({-1, 5}, read.data()));
    std::filesystem::resize_file(path, 999);
    EXPECT_FALSE(reader->read(piece, read.data()));
}

TEST(ReplayFiles, AFullDeviceGivesPiecesOfNoBytes) {
    const auto writer = ReplayWriter::create("/dev/full");
    ASSERT_NE(writer, nullptr);
    for (int i = 0; i < 3; ++i) {
        const ReplayPiece piece = append(*writer, someBytes(100));
        EXPECT_EQ(piece.offset, 0);
        EXPECT_EQ(piece.size, 0);
    }
}

TEST(ReplayFiles, OnAFullDiskWhatWasWrittenBeforeStaysAndALaterPieceGoesIn) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "no disk of a test's own here";
    const std::string folder = test::temporaryPath("small_disk");
    test::ChildProcess child([&] {
        if (!test::mountSmallDisk(folder, 262144)) return 1;
        const std::string path = folder + "/v.bin";
        const auto writer = ReplayWriter::create(path);
        const auto reader = ReplayReader::open(path);
        const auto first = someBytes(100000, 1);
        const auto tooMuch = someBytes(400000, 2);
        const auto last = someBytes(50000, 3);
        const ReplayPiece whole = append(*writer, first);
        const ReplayPiece failed = append(*writer, tooMuch);
        const ReplayPiece behind = append(*writer, last);
        if (failed.size != 0) return 2;
        if (!reads(*reader, whole, first)) return 3;
        if (behind.offset != 100000 || !reads(*reader, behind, last)) return 4;
        return 0;
    });
    EXPECT_EQ(child.wait(), 0);
}

// ------------------------------------------------------------------------------- pictures

class StoredPicture : public testing::Test {
protected:
    std::string path = test::temporaryPath("picture.bin");
    std::shared_ptr<ReplayWriter> writer = ReplayWriter::create(path);
    std::shared_ptr<ReplayReader> reader = ReplayReader::open(path);
    quol::ReplayEncoder encoder;
    quol::ReplayDecoder decoder;

    ReplayPiece store(const AVFrame& picture, std::int64_t slot = 0) {
        if (!encoder.fits(picture.width, picture.height)) {
            EXPECT_TRUE(encoder.init({picture.width, picture.height, 50.0, 86}));
        }
        const AVPacket* packet = encoder.encode(picture, slot);
        EXPECT_NE(packet, nullptr);
        return packet != nullptr ? writer->append(packet->data, packet->size) : ReplayPiece{};
    }
};

TEST_F(StoredPicture, ComesBackInTheSizeAskedFor) {
    const ReplayPiece piece = store(*test::numberedPicture(1234, 0, {1, 50}));
    for (const auto& [size, width, height] : {std::tuple{quol::ReplaySize{320, 64}, 320, 64},
                                              {quol::ReplaySize{640, 360}, 640, 360},
                                              {quol::ReplaySize{0, 0}, 320, 64},
                                              {quol::ReplaySize{-5, 10}, 320, 64}}) {
        const quol::FramePtr picture = decoder.picture(reader, piece, size);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, width);
        EXPECT_EQ(picture->height, height);
        EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
        EXPECT_EQ(picture->data[3][0], 255);
        EXPECT_EQ(test::numberIn(*picture), 1234);
    }
}

TEST_F(StoredPicture, OfTheSamePieceIsNotDecodedAgain) {
    const ReplayPiece piece = store(*test::numberedPicture(1, 0, {1, 50}));
    const ReplayPiece other = store(*test::numberedPicture(2, 1, {1, 50}), 1);
    const quol::FramePtr first = decoder.picture(reader, piece, {320, 64});
    const quol::FramePtr again = decoder.picture(reader, piece, {320, 64});
    EXPECT_EQ(first->data[0], again->data[0]);
    EXPECT_EQ(test::numberIn(*decoder.picture(reader, other, {320, 64})), 2);
    EXPECT_EQ(test::numberIn(*decoder.picture(reader, piece, {320, 64})), 1);
}

TEST_F(StoredPicture, ThatIsCutIsNone) {
    const ReplayPiece piece = store(*test::numberedPicture(1, 0, {1, 50}));
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(piece.size) - 1);
    EXPECT_EQ(decoder.picture(reader, piece, {}), nullptr);
    std::filesystem::resize_file(path, 100000); // zeros behind the cut
    EXPECT_EQ(decoder.picture(reader, piece, {}), nullptr);
    EXPECT_EQ(decoder.picture(reader, {0, 0}, {}), nullptr);
    EXPECT_EQ(decoder.picture(reader, {10, piece.size - 20}, {}), nullptr);
    EXPECT_EQ(decoder.picture(nullptr, piece, {}), nullptr);
}

TEST_F(StoredPicture, OfOtherBytesBetweenItsMarkersIsNoCrash) {
    std::vector<std::uint8_t> bytes = someBytes(5000);
    bytes[0] = bytes[4998] = 0xFF;
    bytes[1] = 0xD8;
    bytes[4999] = 0xD9;
    EXPECT_EQ(decoder.picture(reader, append(*writer, bytes), {320, 64}), nullptr);
    const ReplayPiece good = store(*test::numberedPicture(77, 0, {1, 50}));
    const quol::FramePtr picture = decoder.picture(reader, good, {320, 64});
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(test::numberIn(*picture), 77);
}

TEST_F(StoredPicture, TellsItsSize) {
    const ReplayPiece piece = store(*test::numberedPicture(1, 0, {1, 50}));
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(reader->readPicture(piece, bytes));
    const auto size = quol::jpegSize(bytes.data(), static_cast<std::size_t>(piece.size));
    ASSERT_TRUE(size);
    EXPECT_EQ(size->width, 320);
    EXPECT_EQ(size->height, 64);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) { // never reads beyond what there is
        std::vector<std::uint8_t> part(bytes.begin(), bytes.begin() + static_cast<long>(cut));
        quol::jpegSize(part.data(), part.size());
    }
}

TEST_F(StoredPicture, HasTheBytesOfOnePlainEncoder) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const quol::CodecContextPtr plain(avcodec_alloc_context3(codec));
    plain->width = test::numberedWidth;
    plain->height = test::numberedHeight;
    plain->pix_fmt = AV_PIX_FMT_YUVJ422P;
    plain->time_base = {1001, 50050};
    plain->bit_rate = plain->rc_min_rate = plain->rc_max_rate = 172'000'000;
    plain->rc_buffer_size = 344'000'000;
    plain->qmin = 1;
    plain->qmax = 31;
    plain->log_level_offset = 100;
    ASSERT_GE(avcodec_open2(plain.get(), codec, nullptr), 0);
    quol::Scaler scaler;
    for (int slot = 0; slot < 20; ++slot) {
        const quol::FramePtr source = test::numberedPicture(slot, slot, {1, 50});
        const quol::FramePtr scratch = quol::makeFrame();
        scratch->width = source->width;
        scratch->height = source->height;
        scratch->format = AV_PIX_FMT_YUVJ422P;
        ASSERT_GE(av_frame_get_buffer(scratch.get(), 32), 0);
        ASSERT_TRUE(scaler.scale(*source, *scratch, SWS_BILINEAR));
        scratch->pts = slot;
        const quol::PacketPtr expected = quol::makePacket();
        ASSERT_GE(avcodec_send_frame(plain.get(), scratch.get()), 0);
        ASSERT_GE(avcodec_receive_packet(plain.get(), expected.get()), 0);
        std::vector<std::uint8_t> bytes;
        const ReplayPiece piece = store(*source, slot);
        ASSERT_EQ(piece.size, expected->size);
        ASSERT_TRUE(reader->readPicture(piece, bytes));
        EXPECT_TRUE(std::equal(expected->data, expected->data + expected->size, bytes.begin()));
    }
}

TEST(ReplayEncoder, RefusesASizeThatIsNone) {
    quol::ReplayEncoder encoder;
    EXPECT_FALSE(encoder.init({0, 64, 50.0, 86}));
    EXPECT_FALSE(encoder.init({-1, -1, 50.0, 86}));
    EXPECT_FALSE(encoder.fits(0, 64));
    for (const double rate : {0.5, 23.976, 1e6})
        EXPECT_TRUE(encoder.init({320, 64, rate, 86})) << rate;
}

} // namespace

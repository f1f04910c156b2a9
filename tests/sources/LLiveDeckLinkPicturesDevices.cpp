// Pictures and sound of a live input with DeckLink cards, on their way from the driver to the
// sinks.
#include <gtest/gtest.h>

#include <cstring>
#include <mutex>

#include "core/Clock.h"
#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/LiveCards.h"

namespace {

using namespace quol::decklink;
using test::CapturedStream;
using test::DeckLinkFrame;
using test::deckLinkPicture;
using test::DeckLinkSound;
using test::DeckLinkState;
using test::HeldSink;
using test::noSignal;
using test::silence;
using LLiveDeckLink = test::LiveCards;

TEST_F(LLiveDeckLink, APictureReachesTheSinkInTheDriversMemory) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 3);
    const quol::FramePtr picture = shown(frame);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->data[0], frame.bytes->data());
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 32);
    EXPECT_EQ(picture->linesize[0], 128);
    EXPECT_EQ(picture->time_base.den, 1000000);
    EXPECT_GE(picture->pts, 0);
    EXPECT_EQ(av_frame_is_writable(picture.get()), 0);
}

// The moment at which the driver brings something counts, however late it is shown.
TEST_F(LLiveDeckLink, PicturesSoundAndTheCardCarryTheTimeOfTheirArrival) {
    HeldSink slow;
    const std::int64_t began = quol::steadyNow();
    ASSERT_TRUE(startCard(0));
    const std::int64_t begun = quol::steadyNow();
    live->addSink(&slow);
    struct Delivery {
        std::int64_t from = 0;
        std::int64_t to = 0;
    };
    std::vector<Delivery> deliveries;
    const auto deliver = [&](const std::optional<DeckLinkFrame>& frame,
                             const std::optional<DeckLinkSound>& sound = std::nullopt) {
        quol::sleepFor(100 * quol::nanosPerMilli);
        const std::int64_t from = quol::steadyNow();
        driver.deliver(0, frame, sound);
        deliveries.push_back({from, quol::steadyNow()});
    };
    const DeckLinkFrame signal = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    {
        const std::lock_guard hold(slow.gate);
        deliver(signal);
        deliver(signal);
        deliver(noSignal(64, 32));
        live->setVideoFormat({1, 0, 0, 0.0, 6});
        deliver(signal);
        quol::sleepFor(100 * quol::nanosPerMilli);
    }
    ASSERT_TRUE(sink.waitForPictures(4));
    const auto expectWithin = [&](double seconds, const Delivery& delivery) {
        constexpr double rounding = 1e-4;
        EXPECT_GE(seconds, static_cast<double>(delivery.from - begun) / 1e9 - rounding);
        EXPECT_LE(seconds, static_cast<double>(delivery.to - began) / 1e9 + rounding);
    };
    const auto pictures = sink.pictures();
    for (std::size_t i = 0; i < 4; ++i)
        expectWithin(pictures[i].seconds, deliveries[i]);
    EXPECT_EQ(pictures[3].format, AV_PIX_FMT_RGBA);
    deliver(std::nullopt, silence());
    ASSERT_EQ(sink.soundCount(), 1U);
    expectWithin(sink.sounds()[0].seconds, deliveries[4]);
    live->Stop();
    live->removeSink(&slow);
    slow.kept.clear();
}

TEST_F(LLiveDeckLink, EveryReferenceIsGivenBackSaveOneOfEachWrappedPicture) {
    ASSERT_TRUE(startCard(0));
    for (int i = 0; i < 5; ++i)
        shown(deckLinkPicture(64, 32, bmdFormat8BitYUV, static_cast<unsigned>(i)));
    shown(noSignal(64, 32));
    expectAllGivenBack(5);
}

TEST_F(LLiveDeckLink, AConvertedPictureKeepsNothingOfTheDrivers) {
    ASSERT_TRUE(startCard(0));
    live->setVideoFormat({1, 0, 0, 0.0, 6}); // in mode 1 too
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 5, 256);
    const quol::FramePtr picture = shown(frame);
    ASSERT_EQ(picture->format, AV_PIX_FMT_RGBA);
    const quol::FramePtr source(av_frame_alloc());
    source->width = 64;
    source->height = 32;
    source->format = AV_PIX_FMT_UYVY422;
    source->data[0] = frame.bytes->data();
    source->linesize[0] = 256;
    const quol::FramePtr expected(av_frame_alloc());
    expected->width = 64;
    expected->height = 32;
    expected->format = AV_PIX_FMT_RGBA;
    ASSERT_GE(av_frame_get_buffer(expected.get(), 32), 0);
    quol::SwsPtr scaler(sws_getContext(64, 32, AV_PIX_FMT_UYVY422, 64, 32, AV_PIX_FMT_RGBA,
                                       SWS_FAST_BILINEAR, nullptr, nullptr, nullptr));
    sws_scale(scaler.get(), source->data, source->linesize, 0, 32, expected->data,
              expected->linesize);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 64 * 4; ++x) {
            ASSERT_EQ(picture->data[0][y * picture->linesize[0] + x],
                      expected->data[0][y * expected->linesize[0] + x]);
        }
    }
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, AColourCodeThatAsksForNothingKeepsTheFormat) {
    ASSERT_TRUE(startCard(0));
    live->setVideoFormat({1, 0, 0, 0.0, 4});
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    EXPECT_EQ(shown(frame)->data[0], frame.bytes->data());
}

TEST_F(LLiveDeckLink, RowsLieAtTheDriversStride) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(60, 32, bmdFormat8BitYUV, 3, 192);
    const quol::FramePtr picture = shown(frame);
    EXPECT_EQ(picture->linesize[0], 192);
    EXPECT_EQ(picture->data[0], frame.bytes->data());
}

TEST_F(LLiveDeckLink, PixelFormatsOfTheDriver) {
    ASSERT_TRUE(startCard(0));
    EXPECT_EQ(shown(deckLinkPicture(64, 32, bmdFormat8BitARGB))->format, AV_PIX_FMT_ARGB);
    EXPECT_EQ(shown(deckLinkPicture(64, 32, bmdFormat8BitBGRA))->format, AV_PIX_FMT_BGRA);
    const quol::FramePtr ten = shown(deckLinkPicture(96, 32, bmdFormat10BitYUV));
    EXPECT_EQ(ten->format, AV_PIX_FMT_YUV422P10LE);
    EXPECT_EQ(ten->width, 96);
    // An unknown format shows nothing, and the next picture comes.
    const std::size_t before = sink.pictureCount();
    driver.deliver(0, deckLinkPicture(64, 32, fourCC("????")));
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
    EXPECT_EQ(sink.pictureCount(), before + 1);
    expectAllGivenBack(3);
}

TEST_F(LLiveDeckLink, APictureThatCannotBeReadIsSkipped) {
    ASSERT_TRUE(startCard(0));
    for (const char* method :
         {"IDeckLinkVideoBuffer::StartAccess", "IDeckLinkVideoBuffer::GetBytes"}) {
        const std::size_t before = sink.pictureCount();
        driver.fail(method, E_FAIL, 1);
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV));
        shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
        EXPECT_EQ(sink.pictureCount(), before + 1) << method;
    }
    expectAllGivenBack(2);
}

TEST_F(LLiveDeckLink, WithoutASignalTheCardIsShownAsItIs) {
    ASSERT_TRUE(startCard(0));
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "1");
    live->setVideoFilter(&filter);
    live->setVideoFormat({0, 32, 16, 0.0, 1});
    live->setProps("timecode", "1");
    const quol::FramePtr picture = shown(noSignal(720, 576));
    EXPECT_EQ(picture->width, 720);
    EXPECT_EQ(picture->height, 576);
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(picture->data[0][1], 94); // not mirrored: the light bar is on the left
    EXPECT_EQ(picture->time_base.den, 1000000);
    EXPECT_EQ(av_dict_get(picture->metadata, "timecode", nullptr, 0), nullptr);
    live->setVideoFilter(nullptr);
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, TheCardIsRebuiltAtANewSizeOnlyBehindASignal) {
    ASSERT_TRUE(startCard(0));
    const quol::FramePtr first = shown(noSignal(720, 576));
    const quol::FramePtr second = shown(noSignal(1280, 720));
    EXPECT_EQ(second->width, 720);
    EXPECT_EQ(second->data[0], first->data[0]); // drawn once
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
    EXPECT_EQ(shown(noSignal(1280, 720))->width, 1280);
}

TEST_F(LLiveDeckLink, SoundIsTakenUnlessThePictureHasNoSignal) {
    ASSERT_TRUE(startCard(0));
    DeckLinkSound sound;
    for (int i = 0; i < 20; ++i)
        sound.samples.push_back(static_cast<std::int16_t>(i * 100));
    driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), sound);
    ASSERT_EQ(sink.soundCount(), 1U); // on the driver's thread
    const quol::FramePtr block = sink.latestSound();
    EXPECT_EQ(block->nb_samples, 10);
    EXPECT_EQ(block->sample_rate, 48000);
    EXPECT_EQ(block->ch_layout.nb_channels, 2);
    EXPECT_EQ(block->time_base.den, 48000);
    EXPECT_EQ(std::memcmp(block->data[0], sound.samples.data(), 40), 0);
    driver.deliver(0, noSignal(64, 32), sound);
    EXPECT_EQ(sink.soundCount(), 1U);
    driver.deliver(0, std::nullopt, sound); // sound without a picture
    EXPECT_EQ(sink.soundCount(), 2U);
    driver.deliver(0, std::nullopt, silence(0));
    driver.deliver(0, std::nullopt, std::nullopt);
    driver.fail("IDeckLinkAudioInputPacket::GetBytes", E_FAIL, 1);
    driver.deliver(0, std::nullopt, sound);
    EXPECT_EQ(sink.soundCount(), 2U);
}

TEST_F(LLiveDeckLink, NothingHappensBeforeAndBehindTheRun) {
    ASSERT_TRUE(startCard(0));
    live->Stop();
    driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), silence());
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_EQ(sink.soundCount(), 0U);
    EXPECT_FALSE(card().callback);
    EXPECT_FALSE(card().streaming);
    EXPECT_FALSE(card().videoInput);
    EXPECT_FALSE(card().audioInput);
}

TEST_F(LLiveDeckLink, GapsInTheStreamTimeAreReported) {
    ASSERT_TRUE(startCard(0));
    const auto at = [](std::int64_t time, std::int64_t duration = 20000) {
        DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
        frame.streamTime = {time, duration};
        return frame;
    };
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        driver.deliver(0, at(1000000)); // the first is no gap, wherever it starts
        driver.deliver(0, at(1020000));
        driver.deliver(0, at(1100000));                               // three are missing
        driver.deliver(0, at(1129999));                               // half a picture is none
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV)); // tells no time
        driver.deliver(0, at(1149999));
        driver.deliver(0, at(500000));    // back
        driver.deliver(0, at(540000, 0)); // a duration that is none
        told = output.text();
    }
    EXPECT_EQ(told,
              "[DECKLINK DROP DETECTED] 3 frames dropped! (Current StreamTime: 1100000, "
              "Expected: 1040000)\n"
              "[DECKLINK DROP DETECTED] 0 frames dropped! (Current StreamTime: 1129999, "
              "Expected: 1120000)\n");
}

TEST_F(LLiveDeckLink, TheCardsTimecodeIsStampedOnlyWhenItIsTheSource) {
    ASSERT_TRUE(startCard(0));
    DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    frame.timecodes[bmdTimecodeRP188Any] = "10:11:12:13";
    live->setProps("timecodeSource", "1");
    shown(frame);
    EXPECT_EQ(live->getTimeCode(), "");
    live->setProps("timecode", "true");
    EXPECT_EQ(live->getTimeCode(), "00:00:00:00");
    shown(frame);
    EXPECT_EQ(live->getTimeCode(), "10:11:12:13");
    EXPECT_EQ(sink.pictures().back().timecode, "10:11:12:13");
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV)); // without one the last stays
    EXPECT_EQ(sink.pictures().back().timecode, "10:11:12:13");
    expectAllGivenBack(3);
}

// The loop looks at its queue ten times a second by itself.
TEST_F(LLiveDeckLink, APictureIsPassedOnAsSoonAsItComes) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame picture = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    shown(picture);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 40; ++i)
        shown(picture);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(LLiveDeckLink, TheQueueHoldsThirtyPicturesAndDropsTheOldest) {
    HeldSink slow;
    ASSERT_TRUE(startCard(0));
    live->addSink(&slow);
    {
        const std::lock_guard hold(slow.gate);
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, 0));
        ASSERT_TRUE(sink.waitForPictures(1)); // the loop is in the slow sink, or on its way there
        for (unsigned i = 1; i <= 40; ++i)
            driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, i));
    }
    ASSERT_TRUE(sink.waitForPictures(31));
    ASSERT_TRUE(driver.wait(
        [](const DeckLinkState& state) { return state.liveOf("IDeckLinkVideoInputFrame") <= 31; }));
    live->Stop();
    EXPECT_EQ(sink.pictureCount(), 31U);
    EXPECT_EQ(sink.latestPicture()->data[0][0],
              deckLinkPicture(64, 32, bmdFormat8BitYUV, 40).bytes->at(0));
    live->removeSink(&slow);
    slow.kept.clear();
    expectAllGivenBack(31);
}

TEST_F(LLiveDeckLink, PicturesHeldPastTheStopStayReadable) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 9);
    const std::vector<std::uint8_t> expected = *frame.bytes;
    quol::FramePtr held = shown(frame);
    sink.clear();
    close();
    EXPECT_EQ(std::memcmp(held->data[0], expected.data(), expected.size()), 0);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 1U);
    held.reset();
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 0U);
    EXPECT_EQ(driver.state().misuses, std::vector<std::string>{});
}

} // namespace

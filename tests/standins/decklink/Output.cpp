// The output of a card.
#include <cstdint>

#include "decklink/CardObjects.h"
#include "decklink/Pictures.h"

namespace standin {

using namespace quol::decklink;

namespace {

class Output final : public Object<IDeckLinkOutput> {
public:
    explicit Output(CardPtr card) : Object("IDeckLinkOutput"), card_(std::move(card)) {}

    HRESULT DoesSupportVideoMode(std::uint32_t /*connection*/, std::uint32_t mode,
                                 std::uint32_t /*pixelFormat*/, std::uint32_t /*conversion*/,
                                 std::uint32_t /*flags*/, std::uint32_t* actualMode,
                                 bool* supported) override {
        const Call made = call("DoesSupportVideoMode");
        if (made.failure) return *made.failure;
        if (actualMode != nullptr) *actualMode = mode;
        *supported = card_->mode(mode) != nullptr;
        return S_OK;
    }
    HRESULT GetDisplayMode(std::uint32_t mode, IDeckLinkDisplayMode** result) override {
        if (const Call made = call("GetDisplayMode"); made.failure) return *made.failure;
        return handOutMode(*card_, mode, result);
    }
    HRESULT GetDisplayModeIterator(IDeckLinkDisplayModeIterator** iterator) override {
        if (const Call made = call("GetDisplayModeIterator"); made.failure) return *made.failure;
        *iterator = newModeIterator(*card_);
        return S_OK;
    }
    HRESULT SetScreenPreviewCallback(void* /*callback*/) override { return E_NOTIMPL; }

    HRESULT EnableVideoOutput(std::uint32_t mode, std::uint32_t flags) override {
        const Call made = call("EnableVideoOutput", *card_, {mode, flags});
        if (made.failure) return *made.failure;
        if (card_->mode(mode) == nullptr) return E_INVALIDARG;
        card_->state.videoOutput = true;
        card_->state.outputMode = mode;
        card_->state.outputFlags = flags;
        return S_OK;
    }
    HRESULT DisableVideoOutput() override {
        const Call made = call("DisableVideoOutput", *card_, {});
        if (!made.failure) card_->state.videoOutput = false;
        return made.failure.value_or(S_OK);
    }

    HRESULT CreateVideoFrame(std::int32_t width, std::int32_t height, std::int32_t rowBytes,
                             std::uint32_t pixelFormat, std::uint32_t flags,
                             IDeckLinkMutableVideoFrame** frame) override {
        if (const Call made = call("CreateVideoFrame"); made.failure) return *made.failure;
        std::int32_t least = 0;
        if (width <= 0 || height <= 0 || !tightRow(pixelFormat, width, least) || rowBytes < least)
            return E_INVALIDARG;
        test::DeckLinkFrame made;
        made.width = width;
        made.height = height;
        made.rowBytes = rowBytes;
        made.pixelFormat = pixelFormat;
        made.flags = flags;
        made.bytes = std::make_shared<std::vector<std::uint8_t>>(
            static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height));
        *frame = newOutputFrame(made);
        return S_OK;
    }
    HRESULT CreateVideoFrameWithBuffer(std::int32_t /*width*/, std::int32_t /*height*/,
                                       std::int32_t /*rowBytes*/, std::uint32_t /*pixelFormat*/,
                                       std::uint32_t /*flags*/, IDeckLinkVideoBuffer* /*buffer*/,
                                       IDeckLinkMutableVideoFrame** /*frame*/) override {
        return E_NOTIMPL;
    }
    HRESULT RowBytesForPixelFormat(std::uint32_t pixelFormat, std::int32_t width,
                                   std::int32_t* rowBytes) override {
        const Call made = call("RowBytesForPixelFormat");
        if (made.failure) return *made.failure;
        if (!tightRow(pixelFormat, width, *rowBytes)) return E_INVALIDARG;
        const std::int32_t to = card_->is.rowAlignment;
        *rowBytes = card_->is.rowBytesTold.value_or((*rowBytes + to - 1) / to * to);
        return S_OK;
    }
    HRESULT CreateAncillaryData(std::uint32_t /*pixelFormat*/, void** /*ancillary*/) override {
        return E_NOTIMPL;
    }

    HRESULT DisplayVideoFrameSync(IDeckLinkVideoFrame* frame) override {
        Call made = call("DisplayVideoFrameSync");
        if (made.failure) return *made.failure;
        if (!card_->state.videoOutput) return E_ACCESSDENIED;
        std::optional<test::DeckLinkFrame> shown = shownPicture(frame);
        if (!shown) return E_INVALIDARG;
        machine().waitWhileHeld(made.lock, *card_);
        if (const test::DeckLinkMode* const mode = card_->mode(card_->state.outputMode))
            machine().waitForTurn(
                made.lock, card_->nextFrame,
                std::chrono::nanoseconds(1'000'000'000LL * mode->duration / mode->scale));
        ++card_->state.framesShown;
        card_->state.shown.push_back(std::move(*shown));
        if (card_->state.shown.size() > 64) card_->state.shown.pop_front();
        machine().changed();
        return S_OK;
    }
    HRESULT ScheduleVideoFrame(IDeckLinkVideoFrame* /*frame*/, BMDTimeValue /*time*/,
                               BMDTimeValue /*duration*/, BMDTimeScale /*scale*/) override {
        return E_NOTIMPL;
    }
    HRESULT SetScheduledFrameCompletionCallback(void* /*callback*/) override { return E_NOTIMPL; }
    HRESULT GetBufferedVideoFrameCount(std::uint32_t* /*count*/) override { return E_NOTIMPL; }

    HRESULT EnableAudioOutput(std::uint32_t rate, std::uint32_t sampleType, std::uint32_t channels,
                              std::uint32_t streamType) override {
        const Call made =
            call("EnableAudioOutput", *card_, {rate, sampleType, channels, streamType});
        if (!made.failure) card_->state.audioOutput = true;
        return made.failure.value_or(S_OK);
    }
    HRESULT DisableAudioOutput() override {
        const Call made = call("DisableAudioOutput", *card_, {});
        if (!made.failure) card_->state.audioOutput = false;
        return made.failure.value_or(S_OK);
    }
    HRESULT WriteAudioSamplesSync(void* samples, std::uint32_t sampleFrames,
                                  std::uint32_t* written) override {
        Call made = call("WriteAudioSamplesSync");
        if (made.failure) return *made.failure;
        if (!card_->state.audioOutput) return E_ACCESSDENIED;
        const auto* const first = static_cast<const std::int16_t*>(samples);
        test::DeckLinkSound sound{{first, first + std::size_t{2} * sampleFrames}};
        machine().waitForTurn(
            made.lock, card_->nextSound,
            std::chrono::nanoseconds(1'000'000'000LL * sampleFrames / bmdAudioSampleRate48kHz));
        card_->state.samplesWritten += sampleFrames;
        card_->state.written.push_back(std::move(sound));
        if (card_->state.written.size() > 512) card_->state.written.pop_front();
        if (written != nullptr) *written = sampleFrames;
        machine().changed();
        return S_OK;
    }
    HRESULT BeginAudioPreroll() override { return E_NOTIMPL; }
    HRESULT EndAudioPreroll() override { return E_NOTIMPL; }
    HRESULT ScheduleAudioSamples(void* /*samples*/, std::uint32_t /*sampleFrames*/,
                                 BMDTimeValue /*time*/, BMDTimeScale /*scale*/,
                                 std::uint32_t* /*written*/) override {
        return E_NOTIMPL;
    }
    HRESULT GetBufferedAudioSampleFrameCount(std::uint32_t* /*count*/) override {
        return E_NOTIMPL;
    }
    HRESULT FlushBufferedAudioSamples() override { return E_NOTIMPL; }
    HRESULT SetAudioCallback(void* /*callback*/) override { return E_NOTIMPL; }
    HRESULT StartScheduledPlayback(BMDTimeValue /*time*/, BMDTimeScale /*scale*/,
                                   double /*speed*/) override {
        return E_NOTIMPL;
    }
    HRESULT StopScheduledPlayback(BMDTimeValue /*time*/, BMDTimeValue* /*actualTime*/,
                                  BMDTimeScale /*scale*/) override {
        return E_NOTIMPL;
    }
    HRESULT IsScheduledPlaybackRunning(bool* /*running*/) override { return E_NOTIMPL; }
    HRESULT GetScheduledStreamTime(BMDTimeScale /*scale*/, BMDTimeValue* /*time*/,
                                   double* /*speed*/) override {
        return E_NOTIMPL;
    }
    HRESULT GetReferenceStatus(std::uint32_t* /*status*/) override { return E_NOTIMPL; }
    HRESULT GetHardwareReferenceClock(BMDTimeScale /*scale*/, BMDTimeValue* /*time*/,
                                      BMDTimeValue* /*timeInFrame*/,
                                      BMDTimeValue* /*ticksPerFrame*/) override {
        return E_NOTIMPL;
    }
    HRESULT GetFrameCompletionReferenceTimestamp(IDeckLinkVideoFrame* /*frame*/,
                                                 BMDTimeScale /*scale*/,
                                                 BMDTimeValue* /*time*/) override {
        return E_NOTIMPL;
    }

protected:
    void* other(REFIID id) override { return newCardInterface(card_, id); }

    std::function<void()> gone() override {
        card_->state.videoOutput = false;
        card_->state.audioOutput = false;
        return {};
    }

private:
    static bool tightRow(std::uint32_t pixelFormat, std::int32_t width, std::int32_t& bytes) {
        switch (pixelFormat) {
            case bmdFormat8BitYUV:
                bytes = width * 2;
                return true;
            case bmdFormat8BitARGB:
            case bmdFormat8BitBGRA:
                bytes = width * 4;
                return true;
            case bmdFormat10BitYUV:
                bytes = (width + 47) / 48 * 128;
                return true;
            default:
                return false;
        }
    }

    const CardPtr card_;
};

} // namespace

IDeckLinkOutput* newOutput(const CardPtr& card) {
    return new Output(card);
}

} // namespace standin

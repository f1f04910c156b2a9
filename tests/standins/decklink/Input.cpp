// The input of a card.
#include "decklink/CardObjects.h"

namespace standin {

using namespace quol::decklink;

namespace {

class Input final : public Object<IDeckLinkInput> {
public:
    explicit Input(CardPtr card) : Object("IDeckLinkInput"), card_(std::move(card)) {
        const auto held = machine().lock();
        ++card_->inputs;
    }

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

    HRESULT EnableVideoInput(std::uint32_t mode, std::uint32_t pixelFormat,
                             std::uint32_t flags) override {
        const Call made = call("EnableVideoInput", *card_, {mode, pixelFormat, flags});
        if (made.failure) return *made.failure;
        if (card_->mode(mode) == nullptr) return E_INVALIDARG;
        if (card_->state.streaming && !card_->state.paused) return E_ACCESSDENIED;
        card_->state.videoInput = true;
        card_->state.inputMode = mode;
        card_->state.inputFormat = pixelFormat;
        card_->state.inputFlags = flags;
        return S_OK;
    }
    HRESULT EnableVideoInputWithAllocatorProvider(std::uint32_t /*mode*/,
                                                  std::uint32_t /*pixelFormat*/,
                                                  std::uint32_t /*flags*/,
                                                  void* /*provider*/) override {
        return E_NOTIMPL;
    }
    HRESULT DisableVideoInput() override {
        const Call made = call("DisableVideoInput", *card_, {});
        if (!made.failure) card_->state.videoInput = false;
        return made.failure.value_or(S_OK);
    }
    HRESULT GetAvailableVideoFrameCount(std::uint32_t* /*count*/) override { return E_NOTIMPL; }
    HRESULT EnableAudioInput(std::uint32_t rate, std::uint32_t sampleType,
                             std::uint32_t channels) override {
        const Call made = call("EnableAudioInput", *card_, {rate, sampleType, channels});
        if (!made.failure) card_->state.audioInput = true;
        return made.failure.value_or(S_OK);
    }
    HRESULT DisableAudioInput() override {
        const Call made = call("DisableAudioInput", *card_, {});
        if (!made.failure) card_->state.audioInput = false;
        return made.failure.value_or(S_OK);
    }
    HRESULT GetAvailableAudioSampleFrameCount(std::uint32_t* /*count*/) override {
        return E_NOTIMPL;
    }

    HRESULT StartStreams() override {
        const Call made = call("StartStreams", *card_, {});
        if (made.failure) return *made.failure;
        if (!card_->state.videoInput) return E_ACCESSDENIED;
        card_->state.streaming = true;
        card_->state.paused = false;
        return S_OK;
    }
    HRESULT StopStreams() override {
        const Call made = call("StopStreams", *card_, {});
        if (made.failure) return *made.failure;
        card_->state.streaming = false;
        card_->state.paused = false;
        return S_OK;
    }
    HRESULT PauseStreams() override {
        const Call made = call("PauseStreams", *card_, {});
        if (made.failure) return *made.failure;
        card_->state.paused = card_->state.streaming;
        return S_OK;
    }
    HRESULT FlushStreams() override {
        const Call made = call("FlushStreams", *card_, {});
        return made.failure.value_or(S_OK);
    }
    HRESULT SetCallback(IDeckLinkInputCallback* callback) override {
        IDeckLinkInputCallback* before = nullptr;
        {
            const Call made = call("SetCallback", *card_, {callback != nullptr ? 1 : 0});
            if (made.failure) return *made.failure;
            if (callback != nullptr) callback->AddRef();
            before = std::exchange(card_->callback, callback);
        }
        if (before != nullptr) before->Release();
        return S_OK;
    }
    HRESULT GetHardwareReferenceClock(BMDTimeScale /*scale*/, BMDTimeValue* /*time*/,
                                      BMDTimeValue* /*timeInFrame*/,
                                      BMDTimeValue* /*ticksPerFrame*/) override {
        return E_NOTIMPL;
    }

protected:
    void* other(REFIID id) override { return newCardInterface(card_, id); }

    // With its last input object a card stops and forgets its callback.
    std::function<void()> gone() override {
        if (--card_->inputs > 0) return {};
        card_->state.streaming = false;
        card_->state.paused = false;
        card_->state.videoInput = false;
        card_->state.audioInput = false;
        IDeckLinkInputCallback* const callback = std::exchange(card_->callback, nullptr);
        if (callback == nullptr) return {};
        return [callback] { callback->Release(); };
    }

private:
    const CardPtr card_;
};

} // namespace

IDeckLinkInput* newInput(const CardPtr& card) {
    return new Input(card);
}

} // namespace standin

#include "outputs/DeckLinkOutput.h"

#include <cstring>

#include "core/Log.h"
#include "core/Timecode.h"

namespace quol {

namespace {

std::uint32_t cardFormat(AVPixelFormat format) {
    return format == AV_PIX_FMT_UYVY422 ? decklink::bmdFormat8BitYUV : decklink::bmdFormat8BitBGRA;
}

// What RP188 has the digits for.
bool isTimeOfDay(const Timecode& timecode) {
    const auto within = [](int number, int last) { return number >= 0 && number <= last; };
    return within(timecode.hours, 23) && within(timecode.minutes, 59) &&
           within(timecode.seconds, 59) && within(timecode.frames, 99);
}

void stamp(decklink::IDeckLinkMutableVideoFrame& target, const AVFrame& frame) {
    const AVDictionaryEntry* const entry = av_dict_get(frame.metadata, "timecode", nullptr, 0);
    if (entry == nullptr) return;
    const auto timecode = parseTimecode(entry->value);
    if (!timecode || !isTimeOfDay(*timecode)) return;
    target.SetTimecodeFromComponents(
        decklink::bmdTimecodeRP188VITC2, static_cast<std::uint8_t>(timecode->hours),
        static_cast<std::uint8_t>(timecode->minutes), static_cast<std::uint8_t>(timecode->seconds),
        static_cast<std::uint8_t>(timecode->frames), decklink::bmdTimecodeFlagDefault);
}

} // namespace

DeckLinkOutput::DeckLinkOutput(decklink::ComRef<decklink::IDeckLinkOutput> output)
    : OutputDevice(Kind::deckLink), output_(std::move(output)) {}

DeckLinkOutput::~DeckLinkOutput() {
    output_->DisableVideoOutput();
    output_->DisableAudioOutput();
}

bool DeckLinkOutput::enable(std::uint32_t mode, bool timecode) {
    const std::uint32_t flags =
        timecode ? decklink::bmdVideoOutputRP188 : decklink::bmdVideoOutputFlagDefault;
    if (!decklink::succeeded(output_->EnableVideoOutput(mode, flags))) {
        logError("EnableVideoOutput failed!");
        return false;
    }
    constexpr std::uint32_t channels = 2;
    const decklink::HRESULT result = output_->EnableAudioOutput(
        decklink::bmdAudioSampleRate48kHz, decklink::bmdAudioSampleType16bitInteger, channels,
        decklink::bmdAudioOutputStreamTimestamped);
    if (!decklink::succeeded(result)) logError("[LOutput] Warning: EnableAudioOutput failed!");
    return true;
}

PictureForm DeckLinkOutput::form(const OutputSettings& settings) {
    const AVPixelFormat format =
        settings.deckLinkColor == OutputColor::uyvy ? AV_PIX_FMT_UYVY422 : AV_PIX_FMT_BGRA;
    if (asked_.format != format || asked_.width != settings.width)
        asked_ = {settings.width, 0, format, rowBytes(format, settings.width)};
    asked_.height = settings.height;
    return asked_;
}

// Asked once for each form, or a card that fails would fill the log at its frame rate.
int DeckLinkOutput::rowBytes(AVPixelFormat format, int width) {
    const int needed = packedRowBytes(format, width);
    if (needed < 1) return 0;
    std::int32_t told = 0;
    if (decklink::succeeded(output_->RowBytesForPixelFormat(cardFormat(format), width, &told)) &&
        told >= needed) {
        return told;
    }
    logError("[LOutput] RowBytesForPixelFormat failed! Defaulting to calculated stride.");
    return needed;
}

void DeckLinkOutput::show(OutputPicture& picture, const PictureForm& form,
                          const OutputSettings& settings, const AVFrame& frame) {
    const auto target = decklink::received<decklink::IDeckLinkMutableVideoFrame>([&](auto** out) {
        return output_->CreateVideoFrame(form.width, form.height, form.rowBytes,
                                         cardFormat(form.format), decklink::bmdFrameFlagDefault,
                                         out);
    });
    if (!target) return;
    if (settings.timecode) stamp(*target.get(), frame);
    if (fill(*target.get(), picture, form)) output_->DisplayVideoFrameSync(target.get());
}

// False for a frame that cannot be written to, or that is not of the form that was asked for: what
// its memory happens to hold is not for air.
bool DeckLinkOutput::fill(decklink::IDeckLinkMutableVideoFrame& target, OutputPicture& picture,
                          const PictureForm& form) {
    if (target.GetRowBytes() != form.rowBytes || target.GetHeight() != form.height) return false;
    const auto buffer = decklink::query<decklink::IDeckLinkVideoBuffer>(&target);
    if (!buffer || !decklink::succeeded(buffer->StartAccess(decklink::bmdBufferAccessWrite)))
        return false;
    void* bytes = nullptr;
    const bool there = decklink::succeeded(buffer->GetBytes(&bytes)) && bytes != nullptr;
    if (there) std::memcpy(bytes, picture.data(), picture.size());
    buffer->EndAccess(decklink::bmdBufferAccessWrite);
    return there;
}

void DeckLinkOutput::play(const std::int16_t* samples, int pairs) {
    std::uint32_t written = 0;
    // The driver reads them, though its interface says nothing about it.
    output_->WriteAudioSamplesSync(const_cast<std::int16_t*>(samples),
                                   static_cast<std::uint32_t>(pairs), &written);
}

} // namespace quol

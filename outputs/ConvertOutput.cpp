#include "outputs/ConvertOutput.h"

#include <cerrno>
#include <new>

#include "core/Clock.h"
#include "core/ErrorText.h"
#include "core/Log.h"
#include "core/PictureCheck.h"
#include "core/PlainFile.h"
#include "outputs/StreamAddress.h"

namespace quol {

namespace {

constexpr int defaultWidth = 1920;
constexpr int defaultHeight = 1080;

} // namespace

ConvertOutput::ConvertOutput(const ConvertSettings& settings, const std::atomic<bool>& stop)
    : settings_(settings), stop_(stop), guard_(settings.inputFiles, stop) {}

bool ConvertOutput::open() {
    if (!session_.createOutput(settings_.container, settings_.filePath)) {
        logError("LConvert: Could not create output context");
        return false;
    }
    AVFormatContext* const muxer = session_.output();
    // Muxers of that kind may reach an address without openForMuxer.
    const bool opensItself = (muxer->oformat->flags & AVFMT_NOFILE) != 0;
    if (opensItself || !isLocalFile(settings_.filePath)) muxer->interrupt_callback = giveUp();
    ownOpen_ = muxer->io_open;
    muxer->io_open = &ConvertOutput::openForMuxer;
    muxer->opaque = this;
    return openVideo() && openAudio() && openFile();
}

// Without an encoder the file has no pictures.
bool ConvertOutput::openVideo() {
    const AVCodec* codec =
        encoderOrDefault(*session_.output()->oformat, AVMEDIA_TYPE_VIDEO, settings_.videoCodec);
    if (codec == nullptr) return true;
    constexpr int limit = 1000000;
    const videoFormatProps& format = settings_.videoFormat;
    const VideoEncoding encoding{format.width > 0 ? format.width : defaultWidth,
                                 format.height > 0 ? format.height : defaultHeight,
                                 av_d2q(format.fps, limit), settings_.videoBitrate * bitsPerKilobit,
                                 FormatChoice::first};
    Dictionary options;
    for (const auto& [key, value] : settings_.options)
        options.set(key.c_str(), value.c_str());
    const bool hasRate = encoding.frameRate.num > 0 && encoding.frameRate.den > 0;
    if (hasRate && session_.openVideo(*codec, encoding, options)) return true;
    logError("LConvert: Could not open video codec");
    return false;
}

// Without an encoder the file has no sound.
bool ConvertOutput::openAudio() {
    const AVCodec* codec =
        encoderOrDefault(*session_.output()->oformat, AVMEDIA_TYPE_AUDIO, settings_.audioCodec);
    if (codec == nullptr) return true;
    const AudioEncoding encoding{settings_.audioFormat.sampleRate, settings_.audioFormat.channels,
                                 settings_.audioBitrate * bitsPerKilobit, FormatChoice::first};
    Dictionary options;
    if (encoding.sampleRate < 1 || encoding.channels < 1 ||
        !session_.openAudio(*codec, encoding, options)) {
        logError("LConvert: Could not open audio codec");
        return false;
    }
    sound_ = std::make_unique<ConvertSound>(
        *session_.audio(), [this](const AVFrame& frame) { session_.encodeAudio(&frame); },
        [this] { return !stop_ && takesMore(); });
    return true;
}

bool ConvertOutput::openFile() {
    const std::string& path = settings_.filePath;
    const bool isTaken = !guard_.isInput(path) && !isEndless(path);
    // What is there is not emptied for streams that the muxer refuses, and nothing is made for
    // them.
    const bool isRefused = isTaken && isLocalFile(path) && !session_.takesHeader();
    if (!isRefused && !(isTaken && session_.openFile(path))) {
        logError("LConvert: Could not open output file: %s", path.c_str());
        return false;
    }
    Dictionary options;
    if (isRefused || !session_.writeHeader(options)) {
        logError("LConvert: Error writing header");
        return false;
    }
    reserve_.open(path);
    return true;
}

// Muxers that write several files, as those of images do, open them by themselves.
int ConvertOutput::openForMuxer(AVFormatContext* muxer, AVIOContext** file, const char* url,
                                int flags, AVDictionary** options) {
    auto* self = static_cast<ConvertOutput*>(muxer->opaque);
    bool isFile = false;
    try {
        if ((flags & AVIO_FLAG_WRITE) != 0 && (self->guard_.isInput(url) || isEndless(url)))
            return AVERROR(EACCES);
        isFile = isLocalFile(url);
    } catch (const std::bad_alloc&) {
        return AVERROR(ENOMEM); // FFmpeg knows no exceptions
    }
    const AVIOInterruptCB before = muxer->interrupt_callback;
    muxer->interrupt_callback = isFile ? AVIOInterruptCB{} : self->giveUp();
    const int result = self->ownOpen_(muxer, file, url, flags, options);
    muxer->interrupt_callback = before;
    return result;
}

// FFmpeg asks it before every write, so that a file of a slow disk must not have it: that would
// lose its index.
AVIOInterruptCB ConvertOutput::giveUp() {
    return {&ConvertOutput::isGivenUp, this};
}

int ConvertOutput::isGivenUp(void* self) {
    return static_cast<ConvertOutput*>(self)->givenUp() ? 1 : 0;
}

bool ConvertOutput::givenUp() {
    constexpr std::int64_t patience = 400'000'000; // nanoseconds
    if (!stop_) return false;
    const std::int64_t now = steadyNow();
    std::int64_t seen = 0;
    if (stopSeen_.compare_exchange_strong(seen, now)) return false;
    return now - seen > patience;
}

void ConvertOutput::addPicture(const AVFrame& picture) {
    if (!hasPicture() || !isReadablePicture(picture)) return;
    const FramePtr frame = scaled_.fit(picture, *session_.video(), SWS_BICUBIC);
    if (!frame) return;
    // The picture alone travels: captions and the like have times of their own.
    while (frame->nb_side_data > 0)
        av_frame_remove_side_data(frame.get(), frame->side_data[0]->type);
    frame->pict_type = AV_PICTURE_TYPE_NONE; // or the encoder repeats the input's choices
    frame->pts = pictures_++;
    session_.encodeVideo(frame.get());
}

void ConvertOutput::addSound(const AVFrame& block) {
    if (sound_) sound_->add(block);
}

void ConvertOutput::endFile() {
    if (sound_) sound_->endFile();
}

bool ConvertOutput::takesMore() {
    if (ended_) return false;
    int error = session_.error();
    const std::int64_t bitRate =
        (std::int64_t{settings_.videoBitrate} + settings_.audioBitrate) * bitsPerKilobit;
    if (error == 0 && !reserve_.hold(session_.bytesWritten(), session_.roomToFinish(bitRate)))
        error = AVERROR(ENOSPC);
    if (error == 0) return true;
    end(error);
    return false;
}

void ConvertOutput::end(int error) {
    if (ended_) return;
    ended_ = true;
    logError("LConvert: Conversion ended, %s: %s", errorText(error).c_str(),
             settings_.filePath.c_str());
}

void ConvertOutput::finish() {
    const auto wanted = [this] { return !stop_ && session_.error() == 0; };
    if (sound_ && wanted()) sound_->finish();
    session_.finish(wanted);
    sound_.reset();
    reserve_.release();
    if (session_.error() != 0) end(session_.error());
}

} // namespace quol

// How a stream begins: the muxer, its encoders, the address, the copy.
#include <algorithm>

#include "core/Clock.h"
#include "core/Log.h"
#include "core/NumericLocale.h"
#include "core/Timecode.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "outputs/StreamAddress.h"
#include "outputs/StreamCopy.h"
#include "outputs/StreamGuard.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LStream.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace {

constexpr std::int64_t longestStart = 5 * quol::nanosPerSecond;
constexpr std::int64_t longestSend = 5 * quol::nanosPerSecond; // of one packet

// Options that only some encoders have, each with values of its own: what an encoder does not take
// of them is no reason not to stream.
void dropRefused(const AVCodec& codec, std::initializer_list<const char*> names,
                 std::map<std::string, std::string>& options) {
    const quol::CodecContextPtr trial(avcodec_alloc_context3(&codec));
    const quol::NumericLocaleC locale;
    for (const char* name : names) {
        const auto found = options.find(name);
        if (!trial || found == options.end()) continue;
        if (trial->priv_data == nullptr || codec.priv_class == nullptr ||
            av_opt_set(trial->priv_data, name, found->second.c_str(), 0) < 0) {
            options.erase(found);
        }
    }
}

quol::FramePtr makeBlack(const AVCodecContext& encoder, quol::EncoderPictures& pictures) {
    quol::FramePtr frame = pictures.make(encoder);
    if (!frame) return nullptr;
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(encoder.pix_fmt);
    const bool rgb = format == nullptr || (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const std::ptrdiff_t strides[4] = {frame->linesize[0], frame->linesize[1], frame->linesize[2],
                                       frame->linesize[3]};
    // Black as it is broadcast, 16 and 128, in full-range formats too.
    const AVColorRange range = rgb ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    if (av_image_fill_black(frame->data, strides, encoder.pix_fmt, range, encoder.width,
                            encoder.height) < 0)
        return nullptr;
    return frame;
}

} // namespace

bool LStream::initFFmpeg(LObject& from) {
    const std::string address = quol::streamAddress(job.url, job.key);
    guarded = !quol::isLocalFile(address);
    failureTold = false;
    stalled = false;
    lastVideoPts = -1;
    lastPictureAt = 0;
    lastPicturePts = -1;
    session = std::make_unique<quol::EncoderSession>();
    if (!session->createOutput(quol::streamMuxer(address), address)) {
        quol::logError("[LStream] Output context oluşturulamadı!");
        return false;
    }
    if (job.clone && !job.clonePath.empty()) {
        copy = std::make_unique<quol::StreamCopy>();
        session->wantGlobalHeaders(); // one encoding for two muxers
    }
    session->setTap([this](const AVPacket& packet, AVMediaType type, AVRational timeBase) {
        if (copy) copy->write(packet, type, timeBase);
        if (guarded) guard->sends(longestSend);
    });
    quol::Dictionary options;
    if (!initVideo(from, options)) return false;
    if (!sound->open(*session, job.audioCodec, job.audioBitrate,
                     quol::AudioTrack::Waiting::whileSoundComes))
        quol::logError("[LStream] Could not open audio codec"); // it goes on as picture only
    guard->starts(longestStart);
    const bool begun = initAddress(address, options);
    guard->started();
    return begun;
}

bool LStream::initVideo(LObject& from, quol::Dictionary& options) {
    std::string name = job.videoCodec;
    const AVCodec* codec =
        quol::chooseEncoder(*session->output()->oformat, AVMEDIA_TYPE_VIDEO, "libx264", name);
    if (codec == nullptr) {
        quol::logError("[LStream] Video codec not found: %s", name.c_str());
        return false;
    }
    const videoFormatProps format = quol::encodedFormat(job.videoFormat, &from);
    quol::VideoEncoding encoding{format.width, format.height, quol::rationalRate(format.fps),
                                 job.videoBitrate * quol::bitsPerKilobit};
    const auto mode = job.options.find("bitrate_mode");
    encoding.constantBitRate = mode == job.options.end() || mode->second == "cbr";
    auto wanted = job.options;
    wanted.erase("bitrate_mode");
    dropRefused(*codec, {"preset", "tune"}, wanted);
    for (const auto& [key, value] : wanted)
        if (!value.empty()) options.set(key.c_str(), value.c_str());
    if (!session->openVideo(*codec, encoding, options)) {
        quol::logError("[LStream] Could not open video codec");
        return false;
    }
    constexpr double usual = 1.5;   // of the source's picture lengths
    constexpr double longest = 2.0; // seconds
    patience = static_cast<std::int64_t>(
        std::min(usual / quol::fpsOrDefault(from.getFPS()), longest) * 1e6);
    const AVCodecContext& encoder = *session->video();
    black = makeBlack(encoder, *pictures);
    const std::lock_guard lock(settingsMutex);
    last.width = encoder.width;
    last.height = encoder.height;
    last.fps = av_q2d(encoder.framerate);
    return black != nullptr;
}

bool LStream::initAddress(const std::string& address, quol::Dictionary& options) {
    AVFormatContext& output = *session->output();
    if (guarded) output.interrupt_callback = guard->callback();
    quol::Dictionary protocol(options);
    if (std::string_view(output.oformat->name) == "flv") {
        protocol.set("rtmp_live", "live");
        // Or the end of each picture waits until the server has confirmed the rest.
        if (protocol.find("tcp_nodelay") == nullptr) protocol.set("tcp_nodelay", "1");
    }
    if (!session->openFile(address, protocol)) {
        quol::logError("[LStream] URL açılamadı: %s", job.url.c_str());
        return false;
    }
    if (!initClone()) return false;
    if (!session->writeHeader(options)) {
        // Muxers that do not write into a file reach their address with the header.
        if (guarded && (output.oformat->flags & AVFMT_NOFILE) != 0) {
            quol::logError("[LStream] URL açılamadı: %s", job.url.c_str());
        } else {
            quol::logError("[LStream] Error occurred when writing header");
        }
        if (copy) copy->discard();
        return false;
    }
    quol::logOut("[LStream] Yayın Başladı: %s", job.url.c_str());
    return true;
}

bool LStream::initClone() {
    if (!copy) return true;
    switch (copy->begin(job.clonePath, *session->video(), session->audio())) {
        case quol::StreamCopy::Begun::noMuxer:
            quol::logError("[LStream] Clone context oluşturulamadı! Klasör yolunu kontrol et.");
            return false;
        case quol::StreamCopy::Begun::noFile:
            quol::logError("[LStream] Clone dosya açılamadı!");
            return false;
        case quol::StreamCopy::Begun::yes:
            break;
    }
    return true;
}

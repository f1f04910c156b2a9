// The recorder's encoding thread.
#include <chrono>

#include "core/FrameTime.h"
#include "core/Log.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "outputs/AudioTrack.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderSession.h"
#include "quolsdk/LRecorder.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr auto queueWait = std::chrono::milliseconds(10);
constexpr AVRational microseconds{1, 1000000};

int scalerFlags(int quality) {
    switch (quality) {
        case 1:
            return SWS_POINT;
        case 2:
            return SWS_BILINEAR;
        case 3:
            return SWS_LANCZOS;
        default:
            return SWS_BICUBIC;
    }
}

} // namespace

// Ends when the recording has ended and the queue is empty, so that every picture that was taken
// before is in the file.
void LRecorder::encodeLoop() {
    const auto limit = static_cast<std::int64_t>(job.durationMs * 1000.0);
    const bool limited = job.durationMs > 0.0;
    while (true) {
        if (limited && elapsedNow() >= limit) recording = false;
        QueuedFrame record;
        if (!takeFrame(record)) {
            if (!recording) break;
            continue;
        }
        if (limited && record.elapsed >= limit) continue;
        encodePicture(record);
        if (session->failed() || !diskHasRoom()) {
            quol::logError("LRecorder: No room to write, recording ended: %s",
                           job.filePath.c_str());
            recording = false;
            flush();
            break;
        }
    }
    session->finish();
    reserve->release();
}

// Waits a little for the oldest picture.
bool LRecorder::takeFrame(QueuedFrame& record) {
    std::unique_lock lock(queueMutex);
    queueFilled.wait_for(lock, queueWait, [this] { return !queue.empty() || !recording; });
    if (queue.empty()) return false;
    record = std::move(queue.front());
    queue.pop_front();
    return true;
}

void LRecorder::encodePicture(QueuedFrame& record) {
    const AVRational timeBase = session->video()->time_base;
    const std::int64_t pts = av_rescale_q(record.elapsed, microseconds, timeBase);
    if (pts <= lastVideoPts) return; // its tick of the file's rate is taken
    const auto ownTime = quol::frameTime(*record.frame);
    const quol::FramePtr picture = encoderPicture(*record.frame);
    if (!picture) return;
    picture->pts = pts;
    picture->pict_type = AV_PICTURE_TYPE_NONE; // or the encoder repeats the source's choices
    lastVideoPts = pts;
    ++framesEncoded;
    session->encodeVideo(picture.get());
    const double tick = av_q2d(timeBase);
    secondsRecorded = static_cast<double>(pts + 1) * tick;
    const double mediaTime = ownTime.value_or(static_cast<double>(record.elapsed) / 1e6);
    // Only Record and Stop exchange the track, and neither does while this thread runs.
    if (audioTrack) audioTrack->advance(mediaTime, static_cast<double>(pts) * tick);
}

// The picture in the encoder's size and format: a reference where it has them already.
quol::FramePtr LRecorder::encoderPicture(const AVFrame& frame) {
    const AVCodecContext& encoder = *session->video();
    if (frame.width == encoder.width && frame.height == encoder.height &&
        frame.format == encoder.pix_fmt) {
        return quol::cloneFrame(&frame);
    }
    quol::FramePtr picture = pool->get(encoder.width, encoder.height, encoder.pix_fmt);
    if (!picture || !scaler->scale(frame, *picture, scalerFlags(job.scalingQuality)))
        return nullptr;
    return picture;
}

// Keeps room for what the encoders hold back and for the file's index.
bool LRecorder::diskHasRoom() {
    constexpr std::int64_t base = 256 * 1024;
    constexpr std::int64_t indexBytesPerPacket = 40;
    constexpr std::int64_t secondsHeldBack = 4;
    const std::int64_t perSecond = (job.videoBitrate + job.audioBitrate) * 1000LL / 8;
    const std::int64_t room =
        base + indexBytesPerPacket * session->packetsWritten() + secondsHeldBack * perSecond;
    return reserve->hold(session->bytesWritten(), room);
}

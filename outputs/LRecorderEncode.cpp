// The recorder's encoding thread.

#include "core/ErrorText.h"
#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ScalingQuality.h"
#include "core/ThreadPriority.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderQueue.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "quolsdk/LRecorder.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr AVRational microseconds{1, 1000000};

} // namespace

// Ends when the recording has ended and the queue is empty, so that every picture that was taken
// before is in the file.
void LRecorder::encodeLoop() {
    quol::lowerThreadPriority(quol::ThreadPriority::behindAir);
    const auto overdue = [this](std::int64_t elapsed) {
        return job.durationMs > 0.0 && static_cast<double>(elapsed) / 1000.0 >= job.durationMs;
    };
    bool writable = true;
    while (writable) {
        if (overdue(elapsedNow())) recording = false;
        quol::QueuedPicture record;
        if (!queue->take(record, recording)) {
            if (!recording) break;
            continue;
        }
        if (overdue(record.elapsed)) continue;
        if (!quol::hadMemory([&] { encodePicture(record); })) queue->countLost();
        writable = fileTakesMore();
    }
    // On a full disk too: what sound has waited for is part of the room that was held.
    constexpr int chunksHeld = 100;
    int chunks = 0;
    const auto soundFits = [&] {
        return session->error() == 0 && (writable ? fileTakesMore() : chunks++ < chunksHeld);
    };
    quol::hadMemory([&] {
        if (sound->track() != nullptr) sound->track()->finish(soundFits);
    });
    recording = false;
    const int before = session->error();
    quol::hadMemory([this] { session->finish(); });
    if (before == 0 && session->error() != 0) tellEnded(session->error());
    reserve->release();
    flush();
}

void LRecorder::encodePicture(const quol::QueuedPicture& record) {
    const AVRational timeBase = session->video()->time_base;
    const std::int64_t pts = av_rescale_q(record.elapsed, microseconds, timeBase);
    if (pts <= lastVideoPts) return; // its tick of the file's rate is taken
    const auto ownTime = quol::frameTime(*record.frame);
    const int flags = quol::scalerFlags(job.scalingQuality, quol::LanczosNumber::three);
    const quol::FramePtr picture = pictures->fit(*record.frame, *session->video(), flags);
    if (!picture) return queue->countLost();
    picture->pts = pts;
    picture->pict_type = AV_PICTURE_TYPE_NONE; // or the encoder repeats the source's choices
    lastVideoPts = pts;
    const double tick = av_q2d(timeBase);
    // Before the count: whoever looks in between finds it long enough for that.
    secondsRecorded = static_cast<double>(pts + 1) * tick;
    ++framesEncoded;
    session->encodeVideo(picture.get());
    const double mediaTime = ownTime.value_or(static_cast<double>(record.elapsed) / 1e6);
    if (sound->track() != nullptr)
        sound->track()->advance(mediaTime, static_cast<double>(pts) * tick);
}

// Whether the file has room for what the encoders hold back and for its index. If not, says why the
// recording ends.
bool LRecorder::fileTakesMore() {
    const std::int64_t room = session->roomToFinish(
        (std::int64_t{job.videoBitrate} + job.audioBitrate) * quol::bitsPerKilobit);
    if (session->error() != 0) {
        tellEnded(session->error());
        return false;
    }
    if (!reserve->hold(session->bytesWritten(), room)) {
        tellEnded(AVERROR(ENOSPC));
        return false;
    }
    return true;
}

void LRecorder::tellEnded(int error) {
    quol::logError("LRecorder: Recording ended, %s: %s", quol::errorText(error).c_str(),
                   job.filePath.c_str());
}

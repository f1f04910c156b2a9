// The streamer's encoding thread.
#include "core/ErrorText.h"
#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/PictureCheck.h"
#include "core/ThreadPriority.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderQueue.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "outputs/StreamCopy.h"
#include "outputs/StreamGuard.h"
#include "quolsdk/LStream.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr AVRational microseconds{1, 1000000};
constexpr std::int64_t lead = 60000; // microseconds: pictures are stamped ahead of the clock

} // namespace

// Ends when the stream has ended and the queue is empty. Where memory is short for a picture it is
// that picture that is lost.
void LStream::streamLoop() {
    quol::lowerThreadPriority(quol::ThreadPriority::behindAir);
    bool more = true;
    while (more) {
        if (!quol::hadMemory([&] { more = streamNext(); })) queue->countLost();
    }
    quol::hadMemory([this] {
        if (sound->track() != nullptr) sound->track()->finish();
        session->finish([this] { return !leavesTheRest(); });
        followSession();
    });
    if (copy) quol::hadMemory([this] { copy->finish(); });
    quol::logOut("[LStream] Yayın Durduruldu.");
}

// Streams what is due; false when nothing follows.
bool LStream::streamNext() {
    quol::QueuedPicture record;
    if (leavesTheRest()) return false;
    const bool taken = queue->take(record, running);
    if (!taken && !running) return false;
    const bool useless = !taken || !encodePicture(record);
    if (useless && running && sourceStalls()) encodeBlack();
    followSession();
    return true;
}

// A stop is over time, and nothing would miss the pictures that are not encoded yet.
bool LStream::leavesTheRest() const {
    return !running && guarded && guard->expired() && !(copy && copy->running());
}

std::int64_t LStream::ticks(std::int64_t elapsed) const {
    return av_rescale_q(elapsed, microseconds, session->video()->time_base);
}

// Whether the source has brought a picture: one that nobody can use is none.
bool LStream::encodePicture(const quol::QueuedPicture& record) {
    const std::int64_t pts = ticks(record.elapsed + lead);
    if (pts <= lastVideoPts) { // its tick of the stream's rate is taken
        if (!quol::isReadablePicture(*record.frame)) return false;
        lastPictureAt = record.elapsed;
        stalled = false; // or black would take every tick ahead of the source
        return true;
    }
    if (failureTold && !(copy && copy->running())) return true; // for nobody
    const quol::FramePtr picture = pictures->fit(*record.frame, *session->video(), SWS_BICUBIC);
    if (!picture) {
        queue->countLost();
        return false;
    }
    lastPictureAt = record.elapsed;
    stalled = false;
    lastPicturePts = pts;
    lastPictureTime =
        quol::frameTime(*record.frame).value_or(static_cast<double>(record.elapsed) / 1e6);
    encode(*picture, pts, lastPictureTime);
    return true;
}

// Whether it is time for a picture that the source does not bring. As long as its pictures come,
// the clock does not catch up with the lead that they were stamped with.
bool LStream::sourceStalls() {
    const std::int64_t now = elapsedNow();
    if (!stalled) {
        const bool late = ticks(now) > lastVideoPts;
        stalled = late && (paused || now - lastPictureAt > patience);
    }
    return stalled && ticks(now + lead) > lastVideoPts;
}

// The source's time is taken to run on, so that sound which still comes keeps its place.
void LStream::encodeBlack() {
    if (failureTold && !(copy && copy->running())) return;
    const quol::FramePtr picture = quol::cloneFrame(black.get());
    if (!picture) return;
    const std::int64_t now = elapsedNow();
    const std::int64_t pts = ticks(now + lead);
    const double since =
        static_cast<double>(pts - lastPicturePts) * av_q2d(session->video()->time_base);
    encode(*picture, pts,
           lastPicturePts >= 0 ? lastPictureTime + since : static_cast<double>(now) / 1e6);
}

void LStream::encode(AVFrame& picture, std::int64_t pts, double sourceTime) {
    picture.pts = pts;
    picture.pict_type = AV_PICTURE_TYPE_NONE; // or the encoder repeats the source's choices
    lastVideoPts = pts;
    session->encodeVideo(&picture);
    const double streamTime = static_cast<double>(pts) * av_q2d(session->video()->time_base);
    if (sound->track() != nullptr) sound->track()->advance(sourceTime, streamTime);
}

void LStream::followSession() {
    framesSent = session->picturesWritten();
    bytesSent = session->packetBytesWritten();
    if (session->error() == 0 || failureTold) return;
    failureTold = true;
    guard->givesUp();
    quol::logError("[LStream] Sending failed, %s: %s", quol::errorText(session->error()).c_str(),
                   job.url.c_str());
}

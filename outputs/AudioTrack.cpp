#include "outputs/AudioTrack.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/SoundBlock.h"

namespace quol {

namespace {

constexpr std::size_t maxRecords = 5000;
constexpr int defaultChunk = 1024; // for encoders that take any number of samples

constexpr double jump = 0.5;           // seconds: the clocks have parted by a jump, not by drift
constexpr double smoothing = 1.0 / 64; // of the drift, per picture
constexpr double alignWindow = 2.0;    // seconds ahead within which sound belongs to the pictures
constexpr double longestStep = 10.0;   // seconds of sound that one picture may bring
constexpr double alignPatience = 0.5;  // seconds to wait for sound of the right time
constexpr double longestWait = 1.0;    // seconds that sound may come behind its picture
constexpr double soundStopped = 0.5;   // seconds without new sound: none comes any more
constexpr double tolerance = 0.05;     // seconds by which a source may miscount its sound

} // namespace

AudioTrack::AudioTrack(const AVCodecContext& encoder, double pictureLength, Write write,
                       Waiting waiting)
    : queue_(maxRecords, encoder.sample_rate),
      format_(encoder.sample_fmt),
      sampleRate_(encoder.sample_rate),
      chunk_(encoder.frame_size > 0 ? encoder.frame_size : defaultChunk),
      pictureLength_(pictureLength),
      waiting_(waiting),
      layout_(encoder.ch_layout),
      write_(std::move(write)),
      samples_(static_cast<std::size_t>(chunk_) * 2) {}

void AudioTrack::push(AudioRecord record) {
    const std::lock_guard lock(mutex_);
    queue_.append(std::move(record));
    ++pushes_;
}

void AudioTrack::clear() {
    const std::lock_guard lock(mutex_);
    queue_.clear();
}

int AudioTrack::popAudioSamplesForPts(double /*pts*/, std::int16_t* samples, int count) {
    const auto pairs = static_cast<std::size_t>(std::max(count, 0));
    std::fill_n(samples, pairs * 2, std::int16_t{0});
    const std::lock_guard lock(mutex_);
    return static_cast<int>(queue_.take(samples, pairs));
}

void AudioTrack::tie(double sourceTime, double fileTime) {
    tied_ = true;
    timed_ = true;
    offset_ = fileTime - sourceTime;
    parting_ = 0.0;
    silence_ = 0;
    alignPending_ = true;
    patience_ = static_cast<std::int64_t>(alignPatience * sampleRate_);
    waited_ = 0;
}

void AudioTrack::advance(double sourceTime, double fileTime) {
    if (!tied_) {
        tie(sourceTime, fileTime);
        return;
    }
    const double apart = sourceTime + offset_ - fileTime;
    parting_ += (apart - parting_) * smoothing;
    if (std::fabs(apart) > jump) {
        // The sound of the pictures before the jump still has its place.
        const double end = std::min(fileTime, target_ + pictureLength_);
        while (seconds(samplesWritten_ + chunk_) <= end)
            writeChunk();
        tie(sourceTime, fileTime);
    } else if (std::fabs(parting_) > pictureLength_) {
        tie(sourceTime, fileTime);
    }
    target_ = sourceTime + offset_;
    const double wait = longestWaitAt(fileTime);
    // Only what ends before the picture: the sound behind it may not have come yet.
    const double end = std::min(target_, seconds(samplesWritten_) + longestStep);
    while (seconds(samplesWritten_ + chunk_) <= end) {
        if (target_ - seconds(samplesWritten_ + chunk_) < wait && !soundIsThere()) break;
        writeChunk();
    }
}

double AudioTrack::longestWaitAt(double fileTime) {
    if (waiting_ == Waiting::always) return longestWait;
    const std::lock_guard lock(mutex_);
    if (pushes_ != pushesSeen_) lastHeard_ = fileTime;
    pushesSeen_ = pushes_;
    return lastHeard_ && fileTime - *lastHeard_ < soundStopped ? longestWait : 0.0;
}

double AudioTrack::reach() const {
    return std::max(0.0, target_ - seconds(samplesWritten_)) + alignWindow;
}

// Whether the sound of the next chunk has come.
bool AudioTrack::soundIsThere() {
    if (silence_ >= chunk_) return true;
    const std::lock_guard lock(mutex_);
    if (!timed_) return queue_.pairs() >= static_cast<std::size_t>(chunk_);
    return queue_.reaches(due() + seconds(chunk_), reach());
}

// Whether the oldest sound stands for the time at which it would be written.
bool AudioTrack::frontIsInPlace() {
    const std::lock_guard lock(mutex_);
    const auto front = queue_.frontTime();
    return !front || std::fabs(*front - due() - seconds(silence_)) < tolerance;
}

void AudioTrack::finish(const std::function<bool()>& goOn) {
    while (seconds(samplesWritten_) < target_ && goOn())
        writeChunk();
}

// Brings the queue's front to the time that the next sample stands for. Sound that has not come yet
// is waited for, with silence, but not for ever: a source may count its sound by another clock than
// its pictures, and then the order of arrival is all there is.
void AudioTrack::align() {
    const std::lock_guard lock(mutex_);
    const auto behind = queue_.skipTo(due(), reach());
    if (behind) {
        silence_ = std::llround(*behind * sampleRate_);
        alignPending_ = false;
    } else if (queue_.empty()) {
        silence_ = chunk_ - filled_;
    } else if (patience_ > 0) {
        silence_ = chunk_ - filled_;
        patience_ -= silence_;
        waited_ += silence_;
    } else {
        // What came while it was waited for has had its time.
        queue_.drop(static_cast<std::size_t>(waited_));
        waited_ = 0;
        silence_ = 0;
        timed_ = false;
        alignPending_ = false;
    }
}

// Takes what follows without a hole and returns how much it was.
int AudioTrack::takeSound() {
    const int wanted = chunk_ - filled_;
    int there = wanted;
    if (timed_) {
        const std::lock_guard lock(mutex_);
        there =
            static_cast<int>(queue_.contiguousPairs(static_cast<std::size_t>(wanted), tolerance));
    }
    return popAudioSamplesForPts(due(), samples_.data() + static_cast<std::ptrdiff_t>(filled_) * 2,
                                 there);
}

void AudioTrack::fillChunk() {
    std::fill(samples_.begin(), samples_.end(), std::int16_t{0});
    filled_ = 0;
    while (filled_ < chunk_) {
        if (timed_ && !frontIsInPlace()) alignPending_ = true;
        if (alignPending_) align();
        const auto quiet = static_cast<int>(std::min<std::int64_t>(silence_, chunk_ - filled_));
        silence_ -= quiet;
        filled_ += quiet;
        if (filled_ == chunk_) break;
        const int got = takeSound();
        filled_ += got;
        // Behind a shortage the sound that comes late must not push all the rest back.
        if (got == 0) {
            alignPending_ = true;
            break;
        }
    }
    filled_ = 0;
}

void AudioTrack::writeChunk() {
    fillChunk();
    const FramePtr frame = encoderFrame();
    if (frame) {
        frame->pts = samplesWritten_;
        write_(*frame);
    }
    samplesWritten_ += chunk_;
}

// The chunk in the encoder's format.
FramePtr AudioTrack::encoderFrame() {
    FramePtr frame = makeSoundFrame(format_, *layout_.get(), chunk_, sampleRate_);
    if (!frame) return nullptr;
    constexpr float scale = 1.0F / 32768;
    const auto toFloat = [](std::int16_t sample) { return static_cast<float>(sample) * scale; };
    if (format_ == AV_SAMPLE_FMT_S16) {
        std::copy(samples_.begin(), samples_.end(),
                  reinterpret_cast<std::int16_t*>(frame->data[0]));
    } else if (format_ == AV_SAMPLE_FMT_FLT) {
        std::transform(samples_.begin(), samples_.end(), reinterpret_cast<float*>(frame->data[0]),
                       toFloat);
    } else if (format_ == AV_SAMPLE_FMT_FLTP) {
        auto* left = reinterpret_cast<float*>(frame->data[0]);
        auto* right = reinterpret_cast<float*>(frame->data[1]);
        for (std::size_t i = 0; i < samples_.size(); i += 2) {
            *left++ = toFloat(samples_[i]);
            *right++ = toFloat(samples_[i + 1]);
        }
    } else {
        AVFrame source{};
        source.format = AV_SAMPLE_FMT_S16;
        source.sample_rate = sampleRate_;
        source.nb_samples = chunk_;
        source.ch_layout = *layout_.get();
        source.data[0] = reinterpret_cast<std::uint8_t*>(samples_.data());
        source.extended_data = source.data;
        if (!converter_.prepare(source, {2, format_, sampleRate_})) return nullptr;
        if (converter_.convert(source, frame->extended_data, chunk_) != chunk_) return nullptr;
    }
    return frame;
}

} // namespace quol

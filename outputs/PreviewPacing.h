// When the preview shows a picture.
#pragma once

#include <limits>
#include <optional>

namespace quol {

// Holds pictures to their own times: an anchor pairs the time of one picture with the moment it was
// shown. One thread at a time.
class PreviewPacing {
public:
    // Whole milliseconds to wait before a picture of that time, now; 0 for one that is late, or as
    // much ahead as only a jump can be. Both in seconds.
    int wait(double time, double now) {
        if (anchorTime_ < 0.0 || anchorTime_ > time || time - anchorTime_ > longestStretch) {
            anchorTime_ = time;
            anchorMoment_ = now;
            return 0;
        }
        const double ahead = ((time - anchorTime_) - (now - anchorMoment_)) * 1000.0;
        return ahead > 1.0 && ahead < 80.0 ? static_cast<int>(ahead) : 0;
    }

    // The time of the picture that would be due now, where there was one to go by; else negative.
    double timeAt(double now) const {
        return anchorTime_ < 0.0 ? -1.0 : anchorTime_ + (now - anchorMoment_);
    }

    // Up to which time sound is to be on the meter: ahead of the picture that is shown now, as it
    // will be heard when that is seen. Without a picture that has a time the anchor's clock goes
    // on; without that, all sound is due.
    double soundDue(const std::optional<double>& pictureTime, double now) const {
        const double running = timeAt(now);
        if (!pictureTime && running < 0.0) return std::numeric_limits<double>::infinity();
        return pictureTime.value_or(running) + meterAhead;
    }

    void reset() { anchorTime_ = -1.0; }

private:
    static constexpr double longestStretch = 1.0;
    static constexpr double meterAhead = 0.05; // seconds

    double anchorTime_ = -1.0;
    double anchorMoment_ = 0.0;
};

} // namespace quol

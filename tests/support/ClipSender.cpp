#include "support/ClipSender.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <algorithm>
#include <csignal>
#include <limits>
#include <new>

#include "core/Clock.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LOutput.h"
#include "support/CollectingSink.h"

namespace test {

namespace {

using namespace std::chrono_literals;

constexpr int vtpDevice = 1;
constexpr int format576i = 1; // 720x576i50, as the clip

using Report = ClipSender::Report;

// Stands before the output, so that the times are those of the hand-over.
class PushTimes : public LSink {
public:
    explicit PushTimes(Report& report) : report_(report) {}
    void pushVideoFrame(AVFrame* frame) override {
        const int number = NumberedClip::numberOf(*frame);
        if (number >= 0 && number < NumberedClip::pictures)
            report_.pushed[static_cast<unsigned>(number)] = quol::steadyNow();
    }
    void pushAudioFrame(AVFrame* frame) override {
        const int block = report_.blocks;
        if (block >= ClipSender::mostBlocks) return;
        report_.firstPair[static_cast<unsigned>(block)] =
            av_rescale_q(frame->pts, frame->time_base, {1, NumberedClip::soundRate});
        report_.soundPushed[static_cast<unsigned>(block)] = quol::steadyNow();
        report_.blocks = block + 1;
    }

private:
    Report& report_;
};

int sendClip(Report& report, const std::string& name, const Machine* machine) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves nobody behind
    if (machine != nullptr && !machine->enter()) return 1;
    PushTimes times(report);
    LFile file;
    LOutput output;
    file.fileNameSet(NumberedClip::path());
    output.setProps("stream_name", name);
    if (machine != nullptr) output.setProps("vtp_interface", Machine::interfaceName);
    output.setDevice(vtpDevice);
    output.DeviceFormatVideoSet(format576i);
    file.addSink(&times);
    output.setSource(&file);
    output.setEnabled(true);
    report.ready = true;
    waitUntil([&] { return report.playing || report.ending; }, 120s);
    const bool played = file.play();
    waitUntil([&] { return report.ending.load(); }, 120s);
    file.stop();
    output.setEnabled(false);
    output.setSource(nullptr);
    file.removeSink(&times);
    OutputStats stats;
    output.getStats(stats);
    report.sent = stats.framesSent;
    report.dropped = stats.framesDropped;
    return played ? 0 : 2;
}

} // namespace

void ClipSender::Unmap::operator()(Report* report) const {
    munmap(report, sizeof(Report));
}

ClipSender::ClipSender(const std::string& name, const Machine* machine) {
    void* const memory =
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    report_.reset(new (memory) Report{});
    process_ = std::make_unique<ChildProcess>(
        [this, name, machine] { return sendClip(*report_, name, machine); });
}

ClipSender::~ClipSender() {
    process_.reset();
}

bool ClipSender::isReady() const {
    return waitUntil([this] { return report_->ready.load(); });
}

void ClipSender::play() {
    report_->playing = true;
}

bool ClipSender::stop() {
    report_->ending = true;
    return process_->wait() == 0;
}

std::int64_t ClipSender::pushed(int number) const {
    if (number < 0 || number >= NumberedClip::pictures) return 0;
    return report_->pushed[static_cast<unsigned>(number)];
}

std::optional<double> ClipSender::soundBehind(int number) const {
    SoundClock clock(number);
    for (unsigned block = 0; block < static_cast<unsigned>(report_->blocks); ++block)
        clock.add(static_cast<std::size_t>(report_->firstPair[block]),
                  static_cast<double>(report_->soundPushed[block]) / 1e9);
    if (pushed(number) == 0) return std::nullopt;
    return clock.behind(static_cast<double>(pushed(number)) / 1e9);
}

int ClipSender::latest() const {
    int number = NumberedClip::pictures - 1;
    while (number >= 0 && pushed(number) == 0)
        --number;
    return number;
}

double ClipSender::lateness() const {
    std::int64_t earliest = std::numeric_limits<std::int64_t>::max();
    std::int64_t latest = std::numeric_limits<std::int64_t>::min();
    for (int number = 0; number < NumberedClip::pictures; ++number) {
        if (pushed(number) == 0) continue;
        const std::int64_t offset = pushed(number) - number * quol::nanosPerSecond / 25;
        earliest = std::min(earliest, offset);
        latest = std::max(latest, offset);
    }
    return earliest < latest ? static_cast<double>(latest - earliest) / 1e9 : 0.0;
}

int ClipSender::pictures() const {
    int count = 0;
    for (int number = 0; number < NumberedClip::pictures; ++number)
        count += pushed(number) != 0 ? 1 : 0;
    return count;
}

} // namespace test

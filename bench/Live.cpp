// What live inputs cost: the test signal over some seconds, and a card's picture on its way from
// the driver to a sink, in memory that may not even be read.
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LLive.h"
#include "quolsdk/LSink.h"
#include "sources/LiveDeckLink.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

using namespace quol::decklink;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int rowBytes = width * 2;
constexpr std::size_t pictureBytes = static_cast<std::size_t>(rowBytes) * height;

class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        last = frame->data[0];
        ++pictures;
    }
    void pushAudioFrame(AVFrame*) override {}
    std::atomic<int> pictures{0};
    std::atomic<const std::uint8_t*> last{nullptr};
};

std::vector<std::string> table;

template <typename... Values>
void addLine(const char* format, Values... values) {
    std::array<char, 160> line{};
    std::snprintf(line.data(), line.size(), format, values...);
    table.emplace_back(line.data());
}

// One line: the share of one core over so many seconds.
void measureTestSignal(const char* name, double seconds, const videoFormatProps& format) {
    constexpr int testDevice = 2;
    bench::progress(name);
    CountingSink sink;
    LLive live;
    int count = 0;
    live.DeviceGetCount(count);
    live.addSink(&sink);
    live.setVideoFormat(format);
    live.DeviceSet(count - 3 + testDevice);
    live.DeviceChannelSet(0);
    live.Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const int before = sink.pictures;
    bench::Meter meter;
    meter.start();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    meter.stop();
    const int pictures = sink.pictures - before;
    live.Stop();
    live.removeSink(&sink);
    addLine("  %-44s %8.3f%% of a core %6.1f pictures/s %8.0f bytes allocated/picture", name,
            100.0 * meter.cpu() / meter.wall(), pictures / meter.wall(),
            static_cast<double>(meter.allocations().bytes) / std::max(pictures, 1));
}

// A picture of the driver's: 1080p, 8-bit 4:2:2, where it is told to be.
class DriverFrame final : public IDeckLinkVideoInputFrame, public IDeckLinkVideoBuffer {
public:
    explicit DriverFrame(void* bytes) : bytes_(bytes) {}

    HRESULT QueryInterface(REFIID id, void** object) override {
        if (!(id == IDeckLinkVideoBuffer::iid)) return E_NOINTERFACE;
        *object = static_cast<IDeckLinkVideoBuffer*>(this);
        return S_OK;
    }
    ULONG AddRef() override { return 1; } // lives as long as the measurement
    ULONG Release() override { return 1; }
    long GetWidth() override { return width; }
    long GetHeight() override { return height; }
    long GetRowBytes() override { return rowBytes; }
    std::uint32_t GetPixelFormat() override { return bmdFormat8BitYUV; }
    std::uint32_t GetFlags() override { return bmdFrameFlagDefault; }
    HRESULT GetTimecode(std::uint32_t, IDeckLinkTimecode**) override { return E_FAIL; }
    HRESULT GetAncillaryData(void**) override { return E_NOTIMPL; }
    HRESULT GetStreamTime(BMDTimeValue*, BMDTimeValue*, BMDTimeScale) override { return E_FAIL; }
    HRESULT GetHardwareReferenceTimestamp(BMDTimeScale, BMDTimeValue*, BMDTimeValue*) override {
        return E_NOTIMPL;
    }
    HRESULT GetBytes(void** bytes) override {
        *bytes = bytes_;
        return S_OK;
    }
    HRESULT StartAccess(std::uint32_t) override { return S_OK; }
    HRESULT EndAccess(std::uint32_t) override { return S_OK; }

private:
    void* const bytes_;
};

void measureWrapped(int pictures) {
    bench::progress("wrapped picture");
    void* const memory = mmap(nullptr, pictureBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    DriverFrame frame(memory);
    CountingSink sink;
    LObject source;
    source.addSink(&sink);
    quol::LiveHub hub({[&source](AVFrame* picture) { source.distributeVideoFrame(picture); },
                       [](AVFrame*) {}, [](const quol::AudioPeak&) {}});
    quol::LiveDeckLink card(hub, {}, {}, 0);
    hub.state.running = true;
    std::thread loop([&card] { card.run(); });
    bench::Meter meter;
    meter.start();
    for (int i = 0; i < pictures; ++i) {
        card.frameArrived(&frame, nullptr);
        while (sink.pictures <= i)
            std::this_thread::yield();
    }
    meter.stop();
    hub.state.running = false;
    loop.join();
    source.removeSink(&sink);
    const bool same = sink.last == memory;
    munmap(memory, pictureBytes);
    const double micros = 1e6 * meter.cpu() / pictures;
    addLine("  %-44s %8.1f us CPU/picture, a plain copy %.1f us",
            "wrapped 1080p 4:2:2, driver to sink", micros,
            1e6 * bench::plainCopySeconds(pictureBytes));
    addLine("  %-44s %8d of %zu (%s), %.0f bytes allocated/picture", "  bytes of it touched", 0,
            pictureBytes, same ? "its memory is not readable" : "NOT the driver's memory",
            static_cast<double>(meter.allocations().bytes) / pictures);
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = std::stod(bench::argument(argc, argv, "seconds", "4"));
    const int pictures = std::stoi(bench::argument(argc, argv, "pictures", "5000"));
    {
        const bench::QuietOutput quiet;
        measureTestSignal("test signal, as it comes", seconds, {1, 0, 0, 0.0, 0});
        measureTestSignal("test signal, scaled to 720p 4:2:0", seconds, {0, 1280, 720, 25.0, 1});
        measureWrapped(pictures);
    }
    std::puts("\nLive inputs");
    for (const std::string& line : table)
        std::puts(line.c_str());
    return 0;
}

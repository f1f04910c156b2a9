/// @file
/// The device output: one source to a card or to the network.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LSink.h"
#include "quolsdk/formats.h"

class LObject;

namespace quol {
class OutputDevice;
class OutputSound;
class Sleeper;
enum class OutputDeviceKind;
struct OutputCards;
struct OutputSettings;
} // namespace quol

/// How an output stands.
struct OutputStats {
    std::int32_t width = 0;         ///< pixels of the pictures put out
    std::int32_t height = 0;        ///< pixels
    double frameRate = 0.0;         ///< frames per second
    std::int32_t audioChannels = 0; ///< as set by DeviceFormatAudioSet
    std::int32_t audioRate = 0;     ///< Hz, as set by DeviceFormatAudioSet
    std::int32_t framesDropped = 0; ///< pictures lost because the device fell behind
    std::int32_t framesQueued = 0;  ///< pictures that wait
    /// pictures that the output is done with: handed to the device, those that it refused included
    std::int32_t framesSent = 0;
};

/// A sink that puts pictures and sound out on a device: a DeckLink card, an NDI sender or a VTP
/// sender.
///
/// Devices stand in one table: with n cards, 0 to n - 1 are the cards, n is "NDI Output" and n + 1
/// "VTP Output". Cards are known from the first DeviceGetCount on; before it NDI is device 0.
/// Device numbers shift when cards come or go.
///
/// The output has no clock of its own. Every picture that is pushed goes out as soon as the device
/// takes it; five may wait, then the oldest is dropped and counted. Sound goes out in the order of
/// its arrival, one picture's worth at a time: 48000 by the whole part of the frame rate.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "enabled" | boolean | setEnabled |
/// | "stream_name" | text | name on the network, from the next start on; "NDI_Output" unless set |
/// | "NDI.color_format" | "UYVY" or "BGRA" | what NDI is sent; "UYVY" unless set |
/// | "DeckLink.color_format" | "UYVY" or "BGRA" | what cards are given; "UYVY" unless set |
/// | "scaling_quality" | "bilinear", "bicubic", "lanczos" | for the next scaler that is made |
/// | "timecode" | boolean | cards: pictures carry their metadata "timecode" as RP188 |
/// | "timecode_format" | text | stored |
/// | "audio_gain" | number | percent of the samples' values; results beyond 16 bits wrap |
/// | "vtp_interface" | text | network interface for VTP, from the next start on; empty, as it is
///   unless set: this machine only |
/// | "vtp_secret" | text | what VTP receivers must know, from the next start on; empty: nothing |
///
/// Threads: any, but none of the operations that start, stop or change the source from inside a
/// push. They wait for each other. A stop, and everything that contains one (setEnabled, setDevice,
/// a format change of a card or of VTP, the destructor), waits for what was queued to go out, six
/// pictures at most, and cannot return before the device gives its last call back. VTP receivers
/// have a quarter of a second to take it.
class QUOLSDK_API LOutput : public LSink {
public:
    LOutput();
    /// Stops the device and leaves the source, which must still be there; setSource(nullptr) before
    /// lifts that.
    ~LOutput() override;

    /// Leaves the source it had and attaches itself to another one; null for none. Not owned.
    void setSource(LObject* source);

    /// Starts or stops the selected device. The state changes even when the device cannot be
    /// started; the error stream tells. No change, no effect.
    void setEnabled(bool enabled);

    /// Selects a device of the table. A running one is stopped; an enabled output starts the new
    /// one. A stream still called "NDI_Output" becomes "VTP_Output" for VTP, and the other way
    /// round.
    void setDevice(int index);

    void DeviceGetCount(int& count); ///< looks for cards; cards that can play + 2
    /// Name and description; both empty for an index outside the table.
    void DeviceGetByIndex(int index, std::string& name, std::string& description);

    void DeviceChannelGetCount(int device, int& count); ///< connectors of a card; else 1
    /// Name and description of a connector; both empty for one that is not there.
    void DeviceChannelGetByIndex(int device, int channel, std::string& name,
                                 std::string& description);
    /// Picks a connector. A running card changes over at once.
    void DeviceChannelSet(int channel);

    /// Modes of a card, which are read anew and kept; 35 for NDI and VTP. The channel plays no
    /// part.
    void DeviceFormatVideoGetCount(int device, int channel, int& count);
    /// Name and record of a format. Nothing is written for a card's index beyond the modes that
    /// DeviceFormatVideoGetCount has read last.
    void DeviceFormatVideoGetByIndex(int device, int channel, int index, std::string& name,
                                     videoFormatProps& format);
    /// Picks a format of the selected device: size and rate of what goes out. A running card and a
    /// running VTP sender are started anew; NDI just goes on in the new size. With an unknown
    /// format nothing goes out.
    void DeviceFormatVideoSet(int index);
    /// Rate that sound is brought to on its way to 48000 Hz, and channel count. Mode 0 and 1 take
    /// the record's, others those of the mode, 0 for an unknown one.
    void DeviceFormatAudioSet(const audioFormatProps& format);

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range "stof" for a gain that is no number
    void setProps(const std::string& key, const std::string& value);

    void getStats(OutputStats& stats); ///< never waits for the device

    /// The steps of setEnabled, which leave the state enabled or not as it is. A start is true also
    /// when that device runs already, and false while another one does.
    bool startNDI();
    void stopNDI();       ///< nothing unless it runs
    bool startVTP();      ///< as startNDI
    void stopVTP();       ///< nothing unless it runs
    bool startDeckLink(); ///< as startNDI, for the card that is selected; see DeviceFormatVideoSet
    void stopDeckLink();  ///< nothing unless it runs

    /// Reads the connectors of a card anew.
    void updateDeckLinkLines(int device);

    /// Takes up to `count` stereo samples at 48000 Hz, 16 bits, oldest first, whatever `pts` (in
    /// seconds) says; the rest of `samples` is filled with silence. Returns how many there were.
    int popAudioSamplesForPts(double pts, short* samples, int count);

    /// Queues a reference to the picture, unless the output is disabled or no device runs.
    void pushVideoFrame(AVFrame* frame) override;
    /// Queues the sound as 16-bit stereo at 48000 Hz; 500 blocks may wait, then the oldest goes.
    void pushAudioFrame(AVFrame* frame) override;

private:
    enum class Row { none, card, ndi, vtp };

    Row rowOf(int index) const;
    bool runs(quol::OutputDeviceKind kind) const;
    bool cardRuns() const;
    void startSelected();
    void stopRunning();
    bool startNDILocked();
    void stopNDILocked();
    bool startVTPLocked();
    void stopVTPLocked();
    bool startDeckLinkLocked();
    void stopDeckLinkLocked();
    void run(std::unique_ptr<quol::OutputDevice> started);
    void startWorkers();
    void stopWorkers();
    void setAccepting(bool accept);
    void dropQueue();

    void readLines(int card);
    void connectCard();
    void reconnectCard();
    bool connect(const std::string& line);
    void setCardFormat(int index);
    void setNetworkFormat(int index);
    void takeFormat(const videoFormatProps& format);
    void setText(const std::string& key, const std::string& value);
    void refreshStats();
    void changeSettings(const std::function<void(quol::OutputSettings&)>& change);
    quol::OutputSettings settingsNow();

    void outputLoop();
    void audioLoop();
    quol::FramePtr takeFrame();
    bool takesFrames() const;

    /// Serialises the host's operations; taken before every other mutex, never by a worker.
    std::mutex controlMutex;
    LObject* source = nullptr;             ///< guarded by `controlMutex`
    int deviceIndex = 0;                   ///< guarded by `controlMutex`
    int channelIndex = 0;                  ///< guarded by `controlMutex`
    int formatIndex = 0;                   ///< guarded by `controlMutex`
    std::string streamName = "NDI_Output"; ///< guarded by `controlMutex`
    std::string timecodeFormat = "auto";   ///< guarded by `controlMutex`
    std::string vtpInterface;              ///< guarded by `controlMutex`
    std::string vtpSecret;                 ///< guarded by `controlMutex`
    std::uint16_t vtpPort = 0;             ///< of the last VTP start; guarded by `controlMutex`
    const std::unique_ptr<quol::OutputCards> cards; ///< guarded by `controlMutex`
    std::thread videoThread;                        ///< guarded by `controlMutex`
    std::thread audioThread;                        ///< guarded by `controlMutex`
    /// Changed under `controlMutex` while no worker runs, used by both workers.
    std::unique_ptr<quol::OutputDevice> device;

    std::mutex settingsMutex; ///< guards the next two: the host writes, worker and getStats read
    const std::unique_ptr<quol::OutputSettings> settings;
    OutputStats shown; ///< the part of the statistics that is settings

    std::mutex queueMutex; ///< guards the next two
    std::condition_variable queueFilled;
    std::deque<quol::FramePtr> queue;
    bool videoRunning = false; ///< the picture worker goes on when the queue is empty

    const std::unique_ptr<quol::OutputSound> sound;
    const std::unique_ptr<quol::Sleeper> audioSleeper; ///< the sound worker's pauses

    std::atomic<bool> enabled{false};            ///< the host writes, pushes read
    std::atomic<bool> accepting{false};          ///< a device is there; cleared under `queueMutex`
    std::atomic<bool> audioRunning{false};       ///< the host writes, the sound worker reads
    std::atomic<double> latestVideoTime{0.0};    ///< seconds; the picture worker writes
    std::atomic<std::uint64_t> framesSent{0};    ///< the picture worker writes
    std::atomic<std::uint64_t> framesDropped{0}; ///< pushes write
};

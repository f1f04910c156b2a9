/// @file
/// Live inputs.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

class LFilter;

namespace quol {
class DeckLinkInputCallback;
struct LiveChoice;
class LiveDevices;
struct LiveHub;
class LiveRun;
} // namespace quol

/// Brings live pictures and sound into the graph: DeckLink cards, NDI sources, VTP senders and a
/// built-in test signal.
///
/// The devices stand in one table: the DeckLink cards of the machine in their driver's order, then
/// "NDI Receiver", "VTP Receiver" and "Test Signal". A device has channels (a card's connectors,
/// the sources on the network, one pattern), a channel has video formats. Device numbers shift when
/// the number of cards changes. NDI and DeckLink need the vendors' runtimes; without them their
/// lists are empty, and everything else works.
///
/// A host enumerates, chooses (DeviceSet, DeviceChannelSet, DeviceFormatVideoSet), sets properties
/// and formats, and calls Start. Choices made while it runs count from the next Start.
/// DeviceGetCount has to be called before cards can be chosen.
///
/// Pictures go out as the device made them, without a copy, unless a format asks for something
/// else: a pixel format is converted to in any mode but only for the device's own frames; a size is
/// scaled to in every mode but 1. They carry the microseconds since Start; sound is stamped by the
/// same clock in samples. Sinks must not hold the pictures of a device for long: each one pins a
/// buffer of the driver's.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "timecode" | boolean | pictures carry a time code, getTimeCode reports it |
/// | "timecodeSource" | whole number | 0 time of day, 1 the card's, 2 "timecodeStart" running on |
/// | "timecodeStart" | hh:mm:ss:ff | where source 2 starts; hours run on behind 24 |
/// | "ndi_bandwidth" | "lowest", "low", any | a preview of an NDI source, else all of it |
/// | "gpu" | boolean | filters and scaling are left to the consumer |
/// | "audio_gain" | whole number | percent for 16-bit sound, without a limiter |
/// | "vtp_interface" | text | where VTP senders are looked for; empty: this machine alone |
/// | "vtp_secret" | text | shared with the VTP senders; empty: none |
///
/// A boolean is true for "true" and "1". Other sources of time codes keep the text there is. The
/// bandwidth counts from the next Start, and so do VTP's two for a connection; the list of senders
/// follows them at once. NDI sound is not changed by the gain.
///
/// Threads: any operation from any thread; Start, Stop and the destructor never from inside a push.
class QUOLSDK_API LLive : public LObject {
public:
    LLive();
    /// Stops. Waits for calls of a card's driver that are still in progress.
    ~LLive() override;

    /// Looks for the cards anew and counts all devices: the cards and three. Formats and connectors
    /// listed before are forgotten, choices are not.
    void DeviceGetCount(int& count);
    /// Name and description of a device; both empty for a number that is none.
    void DeviceGetByIndex(int index, std::string& name, std::string& description);
    /// Chooses a device; no channel is chosen then.
    void DeviceSet(int index);

    /// Counts the channels of a device. For NDI this waits 100 ms for sources.
    void DeviceChannelGetCount(int device, int& count);
    /// Name of a channel as counted last; the description is always empty.
    void DeviceChannelGetByIndex(int device, int channel, std::string& name,
                                 std::string& description);
    /// Chooses a channel of the chosen device; a card is switched to that connector at once.
    void DeviceChannelSet(int channel);

    /// Counts the video formats of a device.
    void DeviceFormatVideoGetCount(int device, int channel, int& count);
    /// Name and format of a row; both stay as they are for a number that is none.
    void DeviceFormatVideoGetByIndex(int device, int channel, int index, std::string& name,
                                     videoFormatProps& format);
    /// Chooses a format, for cards; row 0 follows the signal.
    void DeviceFormatVideoSet(int index);

    /// The format wanted. Mode 1, the default, takes pictures as they come.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format); ///< the format wanted, expanded
    /// Sound wanted: a rate or channel count above 0 gives 16-bit sound of that form.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< the format wanted, expanded

    /// A host's own filters, not owned, null for none. The filter must outlive its use.
    void setVideoFilter(LFilter* filter);
    void setAudioFilter(LFilter* filter); ///< @copydoc setVideoFilter

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range for a value that is no number
    void setProps(const std::string& key, const std::string& value);

    /// Starts the chosen device, anew when it runs already. False without a device, when a card
    /// refuses, and when the system gives no thread; a source that is missing is not found out
    /// here.
    bool Start();
    /// Ends the run and waits for it; nothing when there is none.
    void Stop();

    std::string getTimeCode() override;   ///< the latest time code; empty without "timecode"
    void statusGet(int& status) override; ///< 1 while running, else 0
    double getFPS() override;             ///< the format's rate, else the device's, else 25.0
    /// Pixels of the device's latest picture or mode; 0 before the first. A card tells of a mode
    /// where one was chosen or detected: in row 0 without format detection it stays as it was.
    int getWidth() override;
    int getHeight() override;           ///< @copydoc getWidth
    std::string getModeName() override; ///< "No Signal", always

private:
    bool startCard(const quol::LiveChoice& choice);
    bool launch(std::shared_ptr<quol::LiveRun> newRun);
    void endRun();
    void stopLocked();

    /// Written by hosts, read and written by the runs; see there for what guards it.
    const std::unique_ptr<quol::LiveHub> hub;
    const std::unique_ptr<quol::LiveDevices> devices;
    quol::DeckLinkInputCallback* callback; ///< one counted reference

    std::mutex controlMutex;            ///< guards the next two: Start and Stop one at a time
    std::shared_ptr<quol::LiveRun> run; ///< null when stopped
    std::thread thread;                 ///< in the run's `run`
};

// The table of devices that live inputs come from, and what is chosen of it.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/decklink/Cards.h"
#include "quolsdk/formats.h"
#include "sources/LiveNdi.h"
#include "sources/LiveVtp.h"

namespace quol {

// Cards first, then three fixed rows. Whatever a device does not tell is missing from the lists;
// numbers outside a list give nothing. Any thread.
class LiveDevices {
public:
    LiveDevices();

    int DeviceGetCount();
    void DeviceGetByIndex(int index, std::string& name, std::string& description);
    void DeviceSet(int index);
    int DeviceChannelGetCount(int device);
    void DeviceChannelGetByIndex(int device, int channel, std::string& name);
    void DeviceChannelSet(int channel);
    int DeviceFormatVideoGetCount(int device, int channel);
    void DeviceFormatVideoGetByIndex(int device, int channel, int index, std::string& name,
                                     videoFormatProps& format);
    void DeviceFormatVideoSet(int index);
    void setVtpNetwork(const vtp_network& network);

    enum class Kind { card, ndi, vtp, test };

    // What a start needs of the choice made.
    struct Choice {
        Kind kind = Kind::card;
        int channel = -1;
        bool hasSource = false; // NDI and VTP: the channel is one of the sources
        std::string source;
        decklink::Card card;                              // empty for no card
        decklink::ComRef<decklink::IDeckLinkInput> input; // empty for no card
        std::string line;                                 // the connector; empty for none
        bool hasFormat = false;                           // the format index is one of the rows
        int format = 0;                                   // never negative
        decklink::ComRef<decklink::IDeckLinkDisplayMode> mode; // empty for a row without one
    };
    Choice choice();

    const std::shared_ptr<NdiLibrary>& ndiLibrary() const { return ndiLibrary_; }
    const std::shared_ptr<VtpListener>& vtpListener() const { return vtpListener_; }

private:
    struct DisplayMode {
        std::string name;
        videoFormatProps format;
        decklink::ComRef<decklink::IDeckLinkDisplayMode> mode; // empty unless it comes from a card
    };

    // All under the mutex.
    bool isCard(int device) const;
    int fixedRow(int device) const; // the row behind the cards; negative for none
    Kind kindOf(int device) const;
    void updateNDISources();
    void updateVTPSources();
    void updateDeckLinkLines(int device);
    void updateDisplayModes(int device, int channel);
    void addCardModes(int device);
    void chooseConnector();
    void cleanup();

    const std::shared_ptr<NdiLibrary> ndiLibrary_; // null without a runtime
    const std::shared_ptr<VtpListener> vtpListener_;

    std::mutex mutex_; // guards all below; held while a list is asked for, which may take 100 ms
    NdiFinder ndiFinder_;
    std::vector<decklink::Card> cards_;
    std::vector<std::string> ndiSources_;
    std::vector<std::string> vtpSources_;
    std::vector<std::string> lines_; // connectors of the card asked about last
    std::vector<DisplayMode> modes_; // formats of the device and channel asked about last
    int device_ = -1;
    int channel_ = -1;
    int format_ = -1;
    decklink::Card card_;                              // the chosen one
    decklink::ComRef<decklink::IDeckLinkInput> input_; // of the chosen card
};

} // namespace quol

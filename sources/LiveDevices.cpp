#include "sources/LiveDevices.h"

#include <array>

#include "core/Log.h"
#include "core/ModeTables.h"
#include "sources/LiveTestSignal.h"

namespace quol {

using namespace decklink;

namespace {

// The rows behind the cards.
constexpr int ndiRow = 0;
constexpr int vtpRow = 1;
constexpr int testRow = 2;

struct FixedDevice {
    const char* name;
    const char* description;
};
constexpr std::array<FixedDevice, 3> fixedDevices{{{"NDI Receiver", "Network Device Interface"},
                                                   {"VTP Receiver", "Video Transmission Protocol"},
                                                   {"Test Signal", "Internal Generator"}}};

template <typename Rows>
bool hasRow(const Rows& rows, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < rows.size();
}

template <typename Row>
int countOf(const std::vector<Row>& rows) {
    return static_cast<int>(rows.size());
}

} // namespace

LiveDevices::LiveDevices()
    : ndiLibrary_(NdiLibrary::open()),
      vtpListener_(std::make_shared<VtpListener>()),
      ndiFinder_(ndiLibrary_) {
    if (!ndiLibrary_) logError("LLive: NDIlib_initialize failed!");
}

int LiveDevices::DeviceGetCount() {
    const std::lock_guard lock(mutex_);
    cleanup();
    cards_.clear();
    cards_ = decklink::cards();
    return countOf(cards_) + static_cast<int>(fixedDevices.size());
}

void LiveDevices::DeviceGetByIndex(int index, std::string& name, std::string& description) {
    const std::lock_guard lock(mutex_);
    name.clear();
    description.clear();
    if (isCard(index)) {
        name = modelName(cards_[static_cast<std::size_t>(index)].get());
        return;
    }
    const int row = fixedRow(index);
    if (!hasRow(fixedDevices, row)) return;
    name = fixedDevices[static_cast<std::size_t>(row)].name;
    description = fixedDevices[static_cast<std::size_t>(row)].description;
}

void LiveDevices::DeviceSet(int index) {
    const std::lock_guard lock(mutex_);
    channel_ = -1;
    device_ = index;
    input_.reset();
    card_.reset();
    if (!isCard(index)) return;
    card_ = cards_[static_cast<std::size_t>(index)];
    input_ = query<IDeckLinkInput>(card_);
}

int LiveDevices::DeviceChannelGetCount(int device) {
    const std::lock_guard lock(mutex_);
    if (isCard(device)) {
        updateDeckLinkLines(device);
        return countOf(lines_);
    }
    switch (fixedRow(device)) {
        case ndiRow:
            updateNDISources();
            return countOf(ndiSources_);
        case vtpRow:
            updateVTPSources();
            return countOf(vtpSources_);
        case testRow:
            return 1;
        default:
            return 0;
    }
}

// The lines held now decide whether there is such a line; the card is asked again for its text.
void LiveDevices::DeviceChannelGetByIndex(int device, int channel, std::string& name) {
    const std::lock_guard lock(mutex_);
    name.clear();
    const auto copy = [channel, &name](const std::vector<std::string>& names) {
        if (hasRow(names, channel)) name = names[static_cast<std::size_t>(channel)];
    };
    if (isCard(device)) {
        if (!hasRow(lines_, channel)) return;
        updateDeckLinkLines(device);
        copy(lines_);
        return;
    }
    switch (fixedRow(device)) {
        case ndiRow:
            copy(ndiSources_);
            break;
        case vtpRow:
            copy(vtpSources_);
            break;
        case testRow:
            name = "Internal SMPTE Pattern";
            break;
        default:
            break;
    }
}

void LiveDevices::DeviceChannelSet(int channel) {
    const std::lock_guard lock(mutex_);
    channel_ = channel;
    chooseConnector();
    updateDisplayModes(device_, channel_);
}

// Switches the chosen card to the connector of the channel; a channel it lacks changes nothing.
void LiveDevices::chooseConnector() {
    if (!isCard(device_) || !input_) return;
    updateDeckLinkLines(device_);
    if (!hasRow(lines_, channel_)) return;
    const std::string& line = lines_[static_cast<std::size_t>(channel_)];
    const std::uint32_t code = inputConnection(line);
    if (!setConnection(card_.get(), BMDDeckLinkVideoInputConnections, code)) return;
    logOut("LLive: DeckLink Input Connection Set To: %s (BMD Code: %u)", line.c_str(), code);
}

int LiveDevices::DeviceFormatVideoGetCount(int device, int channel) {
    const std::lock_guard lock(mutex_);
    updateDisplayModes(device, channel);
    return countOf(modes_);
}

void LiveDevices::DeviceFormatVideoGetByIndex(int device, int channel, int index, std::string& name,
                                              videoFormatProps& format) {
    const std::lock_guard lock(mutex_);
    updateDisplayModes(device, channel);
    if (!hasRow(modes_, index)) return;
    name = modes_[static_cast<std::size_t>(index)].name;
    format = modes_[static_cast<std::size_t>(index)].format;
}

void LiveDevices::DeviceFormatVideoSet(int index) {
    const std::lock_guard lock(mutex_);
    format_ = index;
}

void LiveDevices::setVtpNetwork(const vtp_network& network) {
    const std::lock_guard lock(mutex_);
    vtpListener_->setNetwork(network);
}

// The format counts as the first row until one is chosen, and stays so.
LiveDevices::Choice LiveDevices::choice() {
    const std::lock_guard lock(mutex_);
    Choice choice;
    choice.kind = kindOf(device_);
    choice.channel = channel_;
    if (choice.kind == Kind::ndi || choice.kind == Kind::vtp) {
        const auto& sources = choice.kind == Kind::ndi ? ndiSources_ : vtpSources_;
        choice.hasSource = hasRow(sources, channel_);
        if (choice.hasSource) choice.source = sources[static_cast<std::size_t>(channel_)];
    }
    choice.card = card_;
    choice.input = input_;
    if (hasRow(lines_, channel_)) choice.line = lines_[static_cast<std::size_t>(channel_)];
    choice.format = format_ < 0 ? 0 : format_;
    choice.hasFormat = hasRow(modes_, choice.format);
    if (choice.hasFormat) choice.mode = modes_[static_cast<std::size_t>(choice.format)].mode;
    return choice;
}

bool LiveDevices::isCard(int device) const {
    return hasRow(cards_, device);
}

int LiveDevices::fixedRow(int device) const {
    return device < 0 ? -1 : device - countOf(cards_);
}

LiveDevices::Kind LiveDevices::kindOf(int device) const {
    switch (fixedRow(device)) {
        case ndiRow:
            return Kind::ndi;
        case vtpRow:
            return Kind::vtp;
        case testRow:
            return Kind::test;
        default:
            return Kind::card;
    }
}

void LiveDevices::updateNDISources() {
    ndiSources_ = ndiFinder_.sources();
}

void LiveDevices::updateVTPSources() {
    vtpSources_.clear();
    for (const vtp_source_record& record : vtpListener_->sources())
        vtpSources_.push_back(vtpSourceText(record));
}

void LiveDevices::updateDeckLinkLines(int device) {
    lines_ = connectorLines(cards_[static_cast<std::size_t>(device)].get(),
                            BMDDeckLinkVideoInputConnections, "HDMI (Auto)");
}

// A card offers the same formats on all its lines, so the channel plays no part.
void LiveDevices::updateDisplayModes(int device, int /*channel*/) {
    cleanup();
    if (isCard(device)) {
        addCardModes(device);
        return;
    }
    switch (fixedRow(device)) {
        case ndiRow:
        case vtpRow:
            modes_.push_back({"Auto Detect", {modeNative, 0, 0, 0.0, 0}, {}});
            break;
        case testRow:
            modes_.push_back(
                {"1080p25", {modeNative, testSignalWidth, testSignalHeight, testSignalFps, 0}, {}});
            break;
        default:
            break;
    }
}

void LiveDevices::addCardModes(int device) {
    modes_.push_back({"Auto Detection", {modeCustom, 0, 0, 0.0, 0}, {}});
    const auto input = query<IDeckLinkInput>(cards_[static_cast<std::size_t>(device)]);
    for (decklink::DisplayMode& mode : decklink::displayModes(input.get())) {
        const ModeSize& size = mode.size;
        modes_.push_back({std::move(mode.name),
                          {modeNative, size.width, size.height, size.frameRate, 0},
                          std::move(mode.mode)});
    }
}

void LiveDevices::cleanup() {
    lines_.clear();
    modes_.clear();
}

} // namespace quol

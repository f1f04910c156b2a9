#include "platform/decklink/Cards.h"

#include <algorithm>
#include <array>
#include <limits>

namespace quol::decklink {

namespace {

struct Connector {
    std::uint32_t bit;
    const char* line;
};
constexpr std::array<Connector, 5> connectors = {{
    {bmdVideoConnectionSDI, "SDI"},
    {bmdVideoConnectionHDMI, "HDMI"},
    {bmdVideoConnectionComponent, "Component"},
    {bmdVideoConnectionComposite, "Composite"},
    {bmdVideoConnectionSVideo, "S-Video"},
}};

std::int32_t pixels(long size) {
    return static_cast<std::int32_t>(
        std::clamp<long>(size, 0, std::numeric_limits<std::int32_t>::max()));
}

} // namespace

std::vector<Card> cards() {
    std::vector<Card> found;
    const ComRef<IDeckLinkIterator> iterator = createIterator();
    if (!iterator) return found;
    while (Card card = received<IDeckLink>([&](IDeckLink** out) { return iterator->Next(out); }))
        found.push_back(std::move(card));
    return found;
}

std::string modelName(IDeckLink* card) {
    if (card == nullptr) return {};
    return driverText([&](const char** text) { return card->GetModelName(text); })
        .value_or(std::string());
}

std::optional<std::int64_t> intAttribute(IDeckLink* card, std::uint32_t id) {
    const auto attributes = query<IDeckLinkProfileAttributes>(card);
    std::int64_t value = 0;
    if (!attributes || !succeeded(attributes->GetInt(id, &value))) return std::nullopt;
    return value;
}

bool flagAttribute(IDeckLink* card, std::uint32_t id) {
    const auto attributes = query<IDeckLinkProfileAttributes>(card);
    bool value = false;
    return attributes && succeeded(attributes->GetFlag(id, &value)) && value;
}

std::vector<std::string> connectorLines(std::int64_t mask) {
    std::vector<std::string> lines;
    for (const Connector& connector : connectors) {
        if ((mask & connector.bit) != 0) lines.emplace_back(connector.line);
    }
    return lines;
}

std::vector<std::string> connectorLines(IDeckLink* card, std::uint32_t attribute,
                                        const char* otherwise) {
    std::vector<std::string> lines = connectorLines(intAttribute(card, attribute).value_or(0));
    if (lines.empty()) lines.emplace_back(otherwise);
    return lines;
}

std::uint32_t inputConnection(std::string_view line) {
    const auto has = [line](std::string_view word) {
        return line.find(word) != std::string_view::npos;
    };
    if (has("HDMI")) return bmdVideoConnectionHDMI;
    if (has("Component")) return bmdVideoConnectionComponent;
    if (has("Composite")) return bmdVideoConnectionComposite;
    if (has("S-Video")) return bmdVideoConnectionSVideo;
    return bmdVideoConnectionSDI;
}

std::uint32_t outputConnection(std::string_view line) {
    const auto* const found =
        std::find_if(connectors.begin(), connectors.end(),
                     [line](const Connector& connector) { return line == connector.line; });
    return found == connectors.end() ? bmdVideoConnectionHDMI : found->bit;
}

std::optional<HRESULT> setConnection(IDeckLink* card, std::uint32_t setting, std::uint32_t code) {
    const auto configuration = query<IDeckLinkConfiguration>(card);
    if (!configuration) return std::nullopt;
    return configuration->SetInt(setting, code);
}

ModeSize modeSize(IDeckLinkDisplayMode& mode) {
    ModeSize size{pixels(mode.GetWidth()), pixels(mode.GetHeight()), 0.0};
    BMDTimeValue duration = 0;
    BMDTimeScale scale = 0;
    if (succeeded(mode.GetFrameRate(&duration, &scale)) && duration != 0)
        size.frameRate = static_cast<double>(scale) / static_cast<double>(duration);
    return size;
}

std::vector<DisplayMode> displayModes(ComRef<IDeckLinkDisplayModeIterator> iterator) {
    std::vector<DisplayMode> modes;
    if (!iterator) return modes;
    const auto next = [&] {
        return received<IDeckLinkDisplayMode>(
            [&](IDeckLinkDisplayMode** out) { return iterator->Next(out); });
    };
    while (ComRef<IDeckLinkDisplayMode> mode = next()) {
        std::optional<std::string> name =
            driverText([&](const char** text) { return mode->GetName(text); });
        modes.push_back({name.value_or("Unknown"), modeSize(*mode.get()), std::move(mode)});
    }
    return modes;
}

} // namespace quol::decklink

// Any text as a template, changed in every way, and its markers played. A line of the input is one
// thing each: a name, a text, a colour, another one, a property, a path; the rest is the template.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "graphics/LottieCheck.h"
#include "graphics/LottiePlayhead.h"
#include "graphics/LottieText.h"

namespace {

constexpr auto npos = std::string::npos;

void require(bool holds) {
    if (!holds) std::abort();
}

struct Input {
    std::array<std::string, 6> lines;
    std::string json;
};

Input split(const std::string& text) {
    Input input;
    std::size_t begin = 0;
    for (std::string& line : input.lines) {
        const std::size_t end = text.find('\n', begin);
        if (end == npos) return input;
        line = text.substr(begin, end - begin);
        begin = end + 1;
    }
    input.json = text.substr(begin);
    return input;
}

// The marker as the plain search finds it, begun anew every time.
int plainMarker(const std::string& json, const std::string& name) {
    const std::string key = "\"cm\":\"" + name + "\"";
    for (std::size_t at = json.find(key); at != npos; at = json.find(key, at + 1)) {
        const std::size_t brace = json.rfind('{', at);
        if (brace == npos) continue;
        const std::size_t time = json.find("\"tm\":", brace);
        if (time < at) return std::stoi(json.substr(time + 5, json.find(',', time) - time - 5));
    }
    return -1;
}

quol::LottieMarkers checkMarkers(const std::string& json) {
    quol::LottieMarkers markers;
    try {
        markers = quol::readMarkers(json);
    } catch (const std::logic_error&) {
        return markers;
    }
    require(markers.in == std::max(-1, plainMarker(json, "IN")));
    require(markers.loop == std::max(-1, plainMarker(json, "LOOP")));
    require(markers.stop == std::max(-1, plainMarker(json, "STOP")));
    require(markers.out == std::max(-1, plainMarker(json, "OUT")));
    return markers;
}

void checkLoading(const std::string& json, const std::string& path) {
    const std::string directory = quol::directoryOf(path);
    require(path.compare(0, directory.size(), directory) == 0);
    require(quol::resourceFolderOf(path).size() >= directory.size());
    require(quol::withAssetFolders(json, "") == json);
    const std::string placed = quol::withAssetFolders(json, "/folder/");
    require(placed.size() >= json.size() && (placed.size() - json.size()) % 8 == 0);
    require(quol::withAssetFolders(placed, "/folder/") == placed);
    const std::string set = quol::withFontFamily(json, "Sans");
    require(quol::withFontFamily(set, "Sans") == set);
}

// Every change is one piece of the text replaced, and nothing else is touched.
void checkText(const std::string& json, const std::string& name, const std::string& text) {
    std::string changed = json;
    const auto piece = quol::findLayerText(json, name);
    if (!piece) return;
    require(piece->begin <= piece->end && piece->end <= json.size());
    changed.replace(piece->begin, piece->end - piece->begin, text);
    auto drawable = quol::DrawableTemplate::of(json);
    if (drawable && drawable->replaceText(*piece, text))
        require(quol::drawableTemplate(changed) == drawable->json());
}

void checkColor(const std::string& json, const std::string& name, const quol::LottieColor& color) {
    std::string changed = json;
    try {
        const quol::ColorChange change = quol::replaceColor(changed, name, color);
        const bool done =
            change == quol::ColorChange::aeStyle || change == quol::ColorChange::cavalryStyle;
        require(done || changed == json);
        if (done) require(changed.find(color.color2.empty() ? ",1]" : "[0,") != npos);
    } catch (const std::invalid_argument&) {
        require(changed == json);
    }
}

void checkImage(const std::string& json, const std::string& name, const std::string& path) {
    const quol::LottieAsset asset = quol::assetOf(json, name);
    require(asset.ofLayer || asset.id == name);
    const std::size_t at = quol::findAsset(json, asset.id);
    if (at == npos) return;
    require(json.compare(at, 5, "\"id\":") == 0);
    const auto file = quol::imageFileName(asset.id, path);
    if (!file) return;
    require(file->find_first_of(std::string("/\\\"\0", 4)) == npos);
    std::string changed = json;
    require(quol::setImageFile(changed, at, *file) == quol::hasImageFile(json, at));
    // Not its key: in broken text that may lie inside the folder that is emptied.
    if (changed != json) require(changed.find('"' + *file + '"', at) != npos);
}

void checkPlayhead(const quol::LottieMarkers& markers, int total) {
    quol::LottiePlayhead playhead{0.0F, total, 25.0F, markers, true, false};
    for (int i = 0; i < 100; ++i)
        require(quol::step(playhead, 50.0));
    playhead.playing = true;
    playhead.exiting = true;
    playhead.currentFrame = static_cast<float>(markers.out);
    int left = 1000;
    // From a marker far before the beginning it takes long.
    while (playhead.currentFrame >= -1.0F && quol::step(playhead, 50.0))
        require(--left > 0);
}

// What the engine is given has the text's size, and is good as it stands.
void checkDrawable(const std::string& json) {
    const auto drawable = quol::drawableTemplate(json);
    if (!drawable) return;
    require(drawable->size() == json.size());
    require(quol::drawableTemplate(*drawable) == drawable);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input = split(std::string(reinterpret_cast<const char*>(data), size));
    const auto& [name, text, color, color2, param, path] = input.lines;
    checkLoading(input.json, path);
    checkDrawable(input.json);
    checkText(input.json, name, text);
    checkColor(input.json, name, {color, color2, param});
    checkImage(input.json, name, path);
    checkPlayhead(checkMarkers(input.json), static_cast<int>(size % 256));
    return 0;
}

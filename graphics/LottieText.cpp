#include "graphics/LottieText.h"

#include <string_view>

#include "graphics/LottieSearch.h"

namespace quol {

namespace {

constexpr auto npos = std::string::npos;

// Every value behind `key` replaced by what `change` makes of it. Built anew: many insertions into
// one long text would each move its rest.
template <typename Change>
std::string withValues(const std::string& json, std::string_view key, Change change) {
    std::string changed;
    changed.reserve(json.size());
    std::size_t copied = 0;
    while (const auto value = findValue(json, key, copied)) {
        changed.append(json, copied, value->begin - copied);
        change(changed, std::string_view(json).substr(value->begin, value->end - value->begin));
        copied = value->end;
    }
    return changed.append(json, copied, npos);
}

} // namespace

// --------------------------------------------------------------------------------- loading

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1); // npos + 1 is 0
}

std::string resourceFolderOf(const std::string& path) {
    return path.substr(0, path.find_last_of("/\\") + 1);
}

std::string withAssetFolders(std::string json, const std::string& directory) {
    return withValues(json, R"("u":")", [&](std::string& changed, std::string_view folder) {
        if (!folder.empty() && folder.front() != '/') changed += directory;
        changed += folder;
    });
}

std::string withFontFamily(std::string json, const std::string& family) {
    return withValues(json, R"("fFamily":")",
                      [&](std::string& changed, std::string_view) { changed += family; });
}

// --------------------------------------------------------------------------------- markers

namespace {

// The braces and times of a text, asked for from its beginning to its end. What was found is kept
// from question to question, so that a text of nothing but markers is looked through once.
class MarkerTimes {
public:
    explicit MarkerTimes(std::string_view json) : json_(json) {}

    // Begin of the time that stands before `name`, behind the last brace before it; npos for none.
    // `name` must not go down from call to call.
    std::size_t before(std::size_t name) {
        const std::size_t brace = json_.substr(seen_, name - seen_).rfind('{');
        if (brace != npos) brace_ = seen_ + brace;
        seen_ = name;
        if (brace_ == npos) return npos;
        if (!searched_ || time_ < brace_) time_ = json_.find(key, brace_);
        searched_ = true;
        return time_ < name ? time_ + key.size() : npos;
    }

private:
    static constexpr std::string_view key = R"("tm":)";

    const std::string_view json_;
    std::size_t seen_ = 0;
    std::size_t brace_ = npos; // the last before seen_
    std::size_t time_ = npos;  // the first behind some brace up to brace_
    bool searched_ = false;
};

int readMarker(const std::string& json, std::string_view name) {
    std::string key = R"("cm":")";
    key.append(name) += '"';
    MarkerTimes times(json);
    for (std::size_t at = json.find(key); at != npos; at = json.find(key, at + 1)) {
        const std::size_t time = times.before(at);
        if (time != npos) return std::stoi(json.substr(time, json.find(',', time) - time));
    }
    return LottieMarkers::unset;
}

} // namespace

LottieMarkers readMarkers(const std::string& json) {
    LottieMarkers markers;
    for (const char* const name : {"IN", "LOOP", "STOP", "OUT"})
        setMarker(markers, name, readMarker(json, name));
    return markers;
}

bool setMarker(LottieMarkers& markers, const std::string& name, int frame) {
    if (frame < 0) frame = LottieMarkers::unset; // no template has such a frame
    if (name == "IN") {
        markers.in = frame;
    } else if (name == "LOOP") {
        markers.loop = frame;
    } else if (name == "STOP") {
        markers.stop = frame;
    } else if (name == "OUT") {
        markers.out = frame;
    } else {
        return false;
    }
    return true;
}

// --------------------------------------------------------------------------------- texts

std::optional<TextPiece> findLayerText(const std::string& json, const std::string& layerName) {
    constexpr std::string_view document = R"("t":{)";
    const auto layer = findNamed(json, layerName);
    if (!layer) return std::nullopt;
    const std::size_t inside = json.find(document, layer->end);
    if (inside == npos) return std::nullopt;
    return findValue(json, R"("t":")", inside + document.size());
}

// --------------------------------------------------------------------------------- images

LottieAsset assetOf(const std::string& json, const std::string& name) {
    const auto layer = findNamed(json, name);
    if (!layer) return {name, false};
    const auto id = findValue(json, R"("refId":")", layer->end);
    // Behind the next name it is that of another layer.
    if (!id || json.find(R"("nm":")", layer->end) < id->begin) return {name, false};
    return {json.substr(id->begin, id->end - id->begin), true};
}

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isNumber(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == npos;
}

} // namespace

std::size_t findAsset(const std::string& json, const std::string& id) {
    const std::size_t quoted = findText(json, R"("id":")" + id + '"', 0);
    if (quoted != npos || !isNumber(id)) return quoted;
    const std::string key = R"("id":)" + id;
    std::size_t at = findText(json, key, 0);
    // Asset 1 is not asset 12.
    while (at != npos && at + key.size() < json.size() && isDigit(json[at + key.size()]))
        at = findText(json, key, at + key.size());
    return at;
}

namespace {

constexpr std::string_view fileKey = R"("p":")";

bool canStandInFileName(std::string_view text) {
    for (const char c : text) {
        if (c == '/' || c == '\\' || c == '"' || static_cast<unsigned char>(c) < ' ') return false;
    }
    return true;
}

} // namespace

bool hasImageFile(const std::string& json, std::size_t asset) {
    return findValue(json, fileKey, asset).has_value();
}

std::optional<std::string> imageFileName(const std::string& assetId, const std::string& imagePath) {
    const std::string file = imagePath.substr(resourceFolderOf(imagePath).size());
    const std::size_t dot = file.rfind('.');
    std::string name = "temp_" + assetId;
    if (dot != npos) name.append(file, dot, npos);
    if (!canStandInFileName(name)) return std::nullopt;
    return name;
}

bool setImageFile(std::string& json, std::size_t asset, const std::string& fileName) {
    const auto file = findValue(json, fileKey, asset);
    if (!file) return false;
    json.replace(file->begin, file->end - file->begin, fileName);
    if (const auto folder = findValue(json, R"("u":")", asset))
        json.erase(folder->begin, folder->end - folder->begin);
    return true;
}

} // namespace quol

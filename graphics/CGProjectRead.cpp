#include <locale.h>
#include <stdlib.h>

#include <cerrno>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "graphics/CGProject.h"

namespace quol {

namespace {

bool contains(const std::string& line, std::string_view what) {
    return line.find(what) != std::string::npos;
}

struct TaggedValue {
    std::string tag;
    std::string value;
};

// The first <([^>]+)>([^<]*)</[^>]+> of a line, told from left to right: a regular expression's
// engine takes as deep a stack as the line is long.
std::optional<TaggedValue> findTag(const std::string& line) {
    std::size_t open = line.find('<');
    while (open != std::string::npos) {
        const std::size_t close = line.find('>', open + 1);
        if (close == std::string::npos) return std::nullopt;
        if (close == open + 1) {
            open = line.find('<', close);
            continue;
        }
        const std::size_t end = line.find('<', close + 1);
        if (end == std::string::npos) return std::nullopt;
        const std::size_t last =
            line.compare(end, 2, "</") == 0 ? line.find('>', end + 2) : end + 2;
        if (last == std::string::npos) return std::nullopt;
        if (last > end + 2)
            return TaggedValue{line.substr(open + 1, close - open - 1),
                               line.substr(close + 1, end - close - 1)};
        // All that opens before `close` would end there too: a line of nothing but "<" is read in
        // one go.
        open = end;
    }
    return std::nullopt;
}

// The first <id>([^<]+)</id> of a line.
std::optional<std::string> findId(const std::string& line) {
    constexpr std::string_view opening = "<id>";
    constexpr std::string_view closing = "</id>";
    for (std::size_t open = line.find(opening); open != std::string::npos;
         open = line.find(opening, open + 1)) {
        const std::size_t begin = open + opening.size();
        const std::size_t end = line.find('<', begin);
        if (end == std::string::npos) return std::nullopt;
        if (end > begin && line.compare(end, closing.size(), closing) == 0)
            return line.substr(begin, end - begin);
    }
    return std::nullopt;
}

void take(const TaggedValue& tagged, ProjectItem& item) {
    const auto& [tag, value] = tagged;
    if (tag == "type") {
        item.type = value;
    } else if (tag == "id") {
        item.id = value;
    } else if (tag == "x") {
        item.x = std::stoi(value);
    } else if (tag == "y") {
        item.y = std::stoi(value);
    } else if (tag == "w") {
        item.w = std::stoi(value);
    } else if (tag == "h") {
        item.h = std::stoi(value);
    } else if (tag == "alpha") {
        item.alpha = std::stoi(value);
    } else if (tag == "show") {
        item.show = value == "true";
    } else {
        item.values[tag] = value;
    }
}

// std::stof with the decimal point that files are written with, whatever the host's is.
float plainStof(const std::string& text) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const int hostError = std::exchange(errno, 0);
    char* end = nullptr;
    const float value = strtof_l(text.c_str(), &end, plain);
    const int error = std::exchange(errno, hostError);
    if (end == text.c_str()) throw std::invalid_argument("stof");
    if (error == ERANGE) throw std::out_of_range("stof");
    return value;
}

void assign(std::string& field, const std::string& text) {
    field = text;
}
void assign(LCGColor& field, const std::string& text) {
    field = text;
}
void assign(int& field, const std::string& text) {
    field = std::stoi(text);
}
void assign(float& field, const std::string& text) {
    field = plainStof(text);
}
void assign(bool& field, const std::string& text) {
    field = text == "true";
}

// Sets fields from the tags that are there.
class FieldReader {
public:
    explicit FieldReader(const ProjectItem& parsed) : values_(parsed.values) {}

    template <typename Field>
    FieldReader& operator()(const char* tag, Field& field) {
        const auto entry = values_.find(tag);
        if (entry != values_.end()) assign(field, entry->second);
        return *this;
    }

private:
    const std::map<std::string, std::string>& values_;
};

template <typename Props>
void readBorder(FieldReader& read, Props& props) {
    read("borderColor", props.borderColor)("borderSize", props.borderSize)("borderAlpha",
                                                                           props.borderAlpha);
}

template <typename Props>
void readFill(FieldReader& read, Props& props) {
    read("bgType", props.bgType)("bgColor", props.bgColor)("bgGradientStartColor",
                                                           props.bgGradientStartColor)(
        "bgGradientEndColor", props.bgGradientEndColor)("bgAlpha", props.bgAlpha)("bgRadius",
                                                                                  props.bgRadius);
}

template <typename Props>
void readLetters(FieldReader& read, Props& props) {
    read("text", props.text)("font", props.font)("fontSize", props.fontSize)("color", props.color)(
        "textAlpha", props.textAlpha);
}

void readText(FieldReader& read, LCGTextProps& props) {
    readLetters(read, props);
    read("letterSpacing", props.letterSpacing)("autoShrink", props.autoShrink)(
        "padding", props.padding)("outlineSize", props.outlineSize)(
        "outlineColor", props.outlineColor)("hAlign", props.hAlign)("vAlign", props.vAlign);
    readFill(read, props);
    read("bgShadowOffsetX", props.bgShadowOffsetX)("bgShadowOffsetY", props.bgShadowOffsetY)(
        "bgShadowAlpha", props.bgShadowAlpha)("bgShadowColor", props.bgShadowColor);
    readBorder(read, props);
}

void readCrawl(FieldReader& read, LCGCrawlProps& props) {
    readLetters(read, props);
    read("textMove", props.textMove)("textSpeed", props.textSpeed)(
        "separatorImage", props.separatorImage)("textSeparator", props.textSeparator);
    readBorder(read, props);
}

void readTicker(FieldReader& read, LCGTickerProps& props) {
    readLetters(read, props);
    read("textMove", props.textMove)("textMoveDuration", props.textMoveDuration);
    readBorder(read, props);
}

} // namespace

std::string ProjectItem::value(const std::string& tag) const {
    const auto entry = values.find(tag);
    return entry != values.end() ? entry->second : "";
}

void readProject(std::istream& file, const std::function<void(const ProjectItem&)>& found) {
    bool inGroup = false;
    bool inItem = false;
    std::string group;
    ProjectItem item;
    for (std::string line; std::getline(file, line);) {
        const std::size_t begin = line.find_first_not_of(" \t");
        if (begin == std::string::npos) continue;
        line.erase(0, begin);
        if (contains(line, "<group>")) {
            inGroup = true;
            group.clear();
        } else if (contains(line, "</group>")) {
            inGroup = false;
            group.clear();
        } else if (contains(line, "<Item>")) {
            item = {};
            inItem = true;
        } else if (contains(line, "</Item>")) {
            item.group = inGroup ? group : "";
            found(item);
            inItem = false;
        } else if (inItem) {
            const auto tagged = findTag(line);
            if (tagged) take(*tagged, item);
        } else if (inGroup) {
            const auto id = findId(line);
            if (id) group = *id;
        }
    }
}

void applyValues(const ProjectItem& parsed, LCGItem& item) {
    FieldReader read(parsed);
    if (auto* text = dynamic_cast<LCGTextItem*>(&item)) {
        readText(read, text->props);
    } else if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item)) {
        readCrawl(read, crawl->props);
    } else if (auto* ticker = dynamic_cast<LCGTickerItem*>(&item)) {
        readTicker(read, ticker->props);
    } else if (auto* rect = dynamic_cast<LCGRectItem*>(&item)) {
        readFill(read, rect->props);
        readBorder(read, rect->props);
    }
}

} // namespace quol

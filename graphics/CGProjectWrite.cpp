#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <locale>
#include <ostream>
#include <unordered_map>

#include "graphics/CGProject.h"

namespace quol {

namespace {

const char* textOf(bool value) {
    return value ? "true" : "false";
}
std::string textOf(const LCGColor& color) {
    return colorText(color.value());
}
const std::string& textOf(const std::string& text) {
    return text;
}
int textOf(int value) {
    return value;
}
float textOf(float value) {
    return value;
}

// Writes fields, one a line.
class FieldWriter {
public:
    FieldWriter(std::ostream& file, std::string indent) : file_(file), indent_(std::move(indent)) {}

    template <typename Field>
    FieldWriter& operator()(const char* tag, const Field& field) {
        file_ << indent_ << '<' << tag << '>' << textOf(field) << "</" << tag << ">\n";
        return *this;
    }

private:
    std::ostream& file_;
    std::string indent_;
};

template <typename Props>
void writeBorder(FieldWriter& write, const Props& props) {
    write("borderColor", props.borderColor)("borderSize", props.borderSize)("borderAlpha",
                                                                            props.borderAlpha);
}

template <typename Props>
void writePanel(FieldWriter& write, const Props& props) {
    write("bgType", props.bgType)("bgColor", props.bgColor)("bgGradientStartColor",
                                                            props.bgGradientStartColor)(
        "bgGradientEndColor", props.bgGradientEndColor)("bgAlpha", props.bgAlpha)(
        "bgRadius", props.bgRadius)("bgShadowOffsetX", props.bgShadowOffsetX)(
        "bgShadowOffsetY", props.bgShadowOffsetY)("bgShadowAlpha", props.bgShadowAlpha)(
        "bgShadowColor", props.bgShadowColor);
}

// What text, crawl and ticker begin with.
template <typename Props>
void writeText(FieldWriter& write, const Props& props) {
    write("text", props.text)("font", props.font)("fontSize", props.fontSize)("color", props.color)(
        "textAlpha", props.textAlpha)("letterSpacing", props.letterSpacing)(
        "autoShrink", props.autoShrink)("padding", props.padding)("outlineSize", props.outlineSize)(
        "outlineColor", props.outlineColor)("hAlign", props.hAlign)("vAlign", props.vAlign);
    writePanel(write, props);
    write("textShadowOffsetX", props.textShadowOffsetX)(
        "textShadowOffsetY", props.textShadowOffsetY)("textShadowAlpha", props.textShadowAlpha)(
        "textShadowColor", props.textShadowColor);
}

void writeProps(FieldWriter& write, const LCGItem& item) {
    if (const auto* text = dynamic_cast<const LCGTextItem*>(&item)) {
        writeText(write, text->props);
        writeBorder(write, text->props);
    } else if (const auto* crawl = dynamic_cast<const LCGCrawlItem*>(&item)) {
        const LCGCrawlProps& props = crawl->props;
        writeText(write, props);
        write("textMove", props.textMove)("textSpeed", props.textSpeed)(
            "separatorImage", props.separatorImage)("textSeparator", props.textSeparator)(
            "separatorPadding", props.separatorPadding);
        writeBorder(write, props);
    } else if (const auto* ticker = dynamic_cast<const LCGTickerItem*>(&item)) {
        writeText(write, ticker->props);
        write("textMove", ticker->props.textMove)("textMoveDuration",
                                                  ticker->props.textMoveDuration);
        writeBorder(write, ticker->props);
    } else if (const auto* rect = dynamic_cast<const LCGRectItem*>(&item)) {
        writePanel(write, rect->props);
        writeBorder(write, rect->props);
    } else if (const auto* image = dynamic_cast<const LCGImageItem*>(&item)) {
        write("path", image->props.path);
    } else if (const auto* video = dynamic_cast<const LCGVideoItem*>(&item)) {
        write("path", video->props.path);
    }
}

const char* typeOf(const LCGItem& item) {
    if (dynamic_cast<const LCGTextItem*>(&item) != nullptr) return "text";
    if (dynamic_cast<const LCGCrawlItem*>(&item) != nullptr) return "crawl";
    if (dynamic_cast<const LCGTickerItem*>(&item) != nullptr) return "ticker";
    if (dynamic_cast<const LCGImageItem*>(&item) != nullptr) return "image";
    if (dynamic_cast<const LCGVideoItem*>(&item) != nullptr) return "video";
    if (dynamic_cast<const LCGRectItem*>(&item) != nullptr) return "rect";
    return "";
}

// An opacity over 255, cut to a whole number.
int alphaLevel(float alpha) {
    constexpr float most = 1.0e6F;
    return std::isnan(alpha) ? 0 : static_cast<int>(255.0F * std::clamp(alpha, -most, most));
}

void writeItem(std::ostream& file, const LCGItem& item, const std::string& indent) {
    file << indent << "<Item>\n";
    FieldWriter write(file, indent + "  ");
    write("type", std::string(typeOf(item)))("id", item.id)("x", item.x.load())("y", item.y.load())(
        "w", item.w.load())("h", item.h.load())("show", item.show.load())("alpha",
                                                                          alphaLevel(item.alpha));
    file << indent << "  <props>\n";
    FieldWriter writeField(file, indent + "      ");
    writeProps(writeField, item);
    file << indent << "  </props>\n" << indent << "</Item>\n";
}

} // namespace

void writeProject(std::ostream& file, const std::vector<std::unique_ptr<LCGItem>>& items,
                  const std::map<std::string, std::unique_ptr<LCGGroup>>& groups) {
    file.imbue(std::locale::classic()); // a host's decimal comma would not be read back
    // Told apart in one pass: there may be as many groups as items.
    std::unordered_map<const LCGGroup*, std::vector<const LCGItem*>> members;
    for (const auto& item : items)
        members[item->group].push_back(item.get());
    file << "<CGProject>\n";
    for (const auto& [name, group] : groups) {
        if (!group) continue;
        file << "  <group>\n    <id>" << name << "</id>\n";
        for (const LCGItem* item : members[group.get()])
            writeItem(file, *item, "    ");
        file << "  </group>\n";
    }
    for (const LCGItem* item : members[nullptr])
        writeItem(file, *item, "  ");
    file << "</CGProject>\n";
}

std::string colorText(std::uint32_t color) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "#%06X", color & 0xFFFFFFU);
    return text.data();
}

} // namespace quol

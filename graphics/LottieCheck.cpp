#include "graphics/LottieCheck.h"

#include <algorithm>
#include <cstddef>

#include "graphics/LottieRules.h"
#include "graphics/LottieTree.h"

namespace quol {

using std::size_t;
using std::string_view;

std::optional<std::string> drawableTemplate(const std::string& json) {
    const std::optional<LottieTree> tree = LottieTree::read(json);
    if (!tree) return std::nullopt;
    std::optional<std::string> text(json);
    if (!LottieRules(*tree, *text).hold()) return std::nullopt;
    return text;
}

std::optional<DrawableTemplate> DrawableTemplate::of(const std::string& json) {
    std::optional<std::string> text = drawableTemplate(json);
    if (!text) return std::nullopt;
    return DrawableTemplate(std::move(*text));
}

namespace {

bool isPlain(string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= ' ' && c != '"' && c != '\\';
    });
}

} // namespace

bool DrawableTemplate::replaceText(const TextPiece& piece, string_view text) {
    const size_t size = piece.end - piece.begin;
    if (!isPlain(string_view(json_).substr(piece.begin, size)) || !isPlain(text)) return false;
    json_.replace(piece.begin, size, text);
    return true;
}

} // namespace quol

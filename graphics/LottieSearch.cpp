#include "graphics/LottieSearch.h"

#include <cstring>
#include <string>

namespace quol {

std::size_t findText(std::string_view json, std::string_view what, std::size_t from) {
    if (from > json.size()) return std::string_view::npos;
    const void* const found =
        memmem(json.data() + from, json.size() - from, what.data(), what.size());
    if (!found) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(found) - json.data());
}

std::optional<TextPiece> findValue(std::string_view json, std::string_view key, std::size_t from) {
    const std::size_t at = json.find(key, from);
    if (at == std::string_view::npos) return std::nullopt;
    const std::size_t begin = at + key.size();
    const std::size_t end = json.find('"', begin);
    if (end == std::string_view::npos) return std::nullopt;
    return TextPiece{begin, end};
}

std::optional<TextPiece> findNamed(std::string_view json, std::string_view name) {
    std::string named = R"("nm":")";
    named.append(name) += '"';
    const std::size_t at = findText(json, named, 0);
    if (at == std::string_view::npos) return std::nullopt;
    return TextPiece{at, at + named.size()};
}

} // namespace quol

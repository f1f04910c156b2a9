#include "graphics/LottieTree.h"

#include <limits>

#include <rapidjson/reader.h>

namespace quol {

// Takes what the reader finds; false ends the reading.
class LottieTreeBuilder {
public:
    using Size = rapidjson::SizeType;

    LottieTreeBuilder(LottieTree& tree, rapidjson::InsituStringStream& stream)
        : tree_(tree), stream_(stream) {
        tree_.nodes_.reserve(tree_.decoded_.size() / charactersOfValue);
        open_.reserve(LottieTree::maxDepth);
    }

    bool Null() { return add(LottieKind::null, here()); }
    bool Bool(bool value) { return add(LottieKind::boolean, here(), value ? 1.0 : 0.0); }
    bool Int(int value) { return number(value); }
    bool Uint(unsigned value) { return number(value); }
    bool Int64(std::int64_t value) { return number(static_cast<double>(value)); }
    bool Uint64(std::uint64_t value) { return number(static_cast<double>(value)); }
    bool Double(double value) { return number(value); }
    bool RawNumber(const char* /*text*/, Size /*size*/, bool /*copy*/) { return false; }
    bool String(const char* text, Size size, bool /*copy*/) {
        return add(LottieKind::text, offset(text), 0.0, size);
    }
    bool Key(const char* text, Size size, bool /*copy*/) {
        keyAt_ = offset(text);
        keySize_ = size;
        return true;
    }
    bool StartObject() { return open(LottieKind::object); }
    bool EndObject(Size /*members*/) { return close(); }
    bool StartArray() { return open(LottieKind::list); }
    bool EndArray(Size /*items*/) { return close(); }

private:
    // Few templates have a value for less than this much text: nearly always one allocation.
    static constexpr std::size_t charactersOfValue = 5;

    std::uint32_t offset(const char* text) const {
        return static_cast<std::uint32_t>(text - tree_.decoded_.data());
    }
    std::uint32_t here() const { return static_cast<std::uint32_t>(stream_.Tell()); }
    // The reader may tell the place of either end of a number.
    bool number(double value) {
        std::uint32_t begin = here();
        while (begin > 0 && isOfNumber(tree_.decoded_[begin - 1]))
            --begin;
        return add(LottieKind::number, begin, value);
    }
    bool add(LottieKind kind, std::uint32_t at, double value = 0.0, std::uint32_t size = 0) {
        tree_.nodes_.push_back({value, at, size, keyAt_, keySize_,
                                static_cast<std::uint32_t>(tree_.nodes_.size() + 1), kind});
        keySize_ = 0;
        return !open_.empty(); // a template is an object: nothing else stands at the top
    }
    bool open(LottieKind kind) {
        if (open_.size() == LottieTree::maxDepth) return false;
        open_.push_back(static_cast<std::uint32_t>(tree_.nodes_.size()));
        return add(kind, here());
    }
    bool close() {
        tree_.nodes_[open_.back()].end = static_cast<std::uint32_t>(tree_.nodes_.size());
        open_.pop_back();
        return true;
    }

    LottieTree& tree_;
    rapidjson::InsituStringStream& stream_;
    std::vector<std::uint32_t> open_;
    std::uint32_t keyAt_ = 0;
    std::uint32_t keySize_ = 0;
};

std::optional<LottieTree> LottieTree::read(const std::string& json) {
    if (json.size() > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    std::optional<LottieTree> tree(std::in_place);
    tree->decoded_ = json;
    rapidjson::InsituStringStream stream(tree->decoded_.data());
    LottieTreeBuilder builder(*tree, stream);
    rapidjson::Reader reader;
    constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag;
    if (!reader.Parse<flags>(stream, builder)) return std::nullopt;
    if (tree->nodes_.front().kind != LottieKind::object) return std::nullopt;
    return tree;
}

std::size_t LottieTree::member(std::size_t object, std::string_view name) const {
    std::size_t found = 0;
    if (nodes_[object].kind == LottieKind::object)
        each(object, [&](std::size_t child) {
            if (key(child) == name) found = child;
            return found == 0;
        });
    return found;
}

std::size_t LottieTree::count(std::size_t list) const {
    std::size_t items = 0;
    each(list, [&](std::size_t) { return ++items != 0; });
    return items;
}

} // namespace quol

// The text of a template as a tree that knows where in the text everything stands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quol {

enum class LottieKind : std::uint8_t { null, boolean, number, text, list, object };

// A value, and its key where it is the member of an object.
struct LottieNode {
    double number = 0.0;
    std::uint32_t at = 0;   // in the text: where a number begins, or a text behind its quote
    std::uint32_t size = 0; // of a text, as it reads
    std::uint32_t keyAt = 0;
    std::uint32_t keySize = 0;
    std::uint32_t end = 0; // the index behind all that is inside
    LottieKind kind = LottieKind::null;
};

// Of what a number is written with.
inline bool isOfNumber(char c) {
    return (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
}

// All values in the order of the text. What is inside a node begins at the next index.
class LottieTree {
public:
    // Deeper than any tool nests (17 levels are the most that is seen), and shallow enough for
    // whoever walks the tree, or the engine, by recursion.
    static constexpr std::size_t maxDepth = 256;

    // Nothing for a text that is not one well-formed object and nothing else, and for one that is
    // nested deeper than maxDepth.
    static std::optional<LottieTree> read(const std::string& json);

    const LottieNode& operator[](std::size_t index) const { return nodes_[index]; }
    std::string_view key(std::size_t index) const {
        return {decoded_.data() + nodes_[index].keyAt, nodes_[index].keySize};
    }
    std::string_view text(std::size_t index) const {
        return {decoded_.data() + nodes_[index].at, nodes_[index].size};
    }

    // Calls `visit(child)` for each member or item; stops, and gives false, where that is false.
    template <typename Visit>
    bool each(std::size_t index, Visit&& visit) const {
        for (std::size_t child = index + 1; child < nodes_[index].end; child = nodes_[child].end)
            if (!visit(child)) return false;
        return true;
    }

    // The member of an object, 0 when there is none.
    std::size_t member(std::size_t object, std::string_view name) const;
    std::size_t count(std::size_t list) const;

private:
    friend class LottieTreeBuilder;

    std::string decoded_; // the text, with what its escapes stand for at the place of each text
    std::vector<LottieNode> nodes_;
};

} // namespace quol

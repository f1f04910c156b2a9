// What of a template's text can be put right where it stands: nothing of the text moves, so that
// its tree stays true.
#pragma once

#include <cstddef>
#include <string>

#include "graphics/LottieTree.h"

namespace quol {

class LottieRepair {
public:
    // Both outlive it. The tree was read from the text.
    LottieRepair(const LottieTree& tree, std::string& text) : tree_(tree), text_(text) {}

    // The engine passes over what it does not know.
    void leaveOut(std::size_t member) { text_[tree_[member].keyAt] = '_'; }

    // Makes a layer one without content; `type` is its "ty".
    void emptyLayer(std::size_t type);

    // Takes away an empty list, the only member of its object, with its key.
    void erase(std::size_t list);

private:
    const LottieTree& tree_;
    std::string& text_;
};

} // namespace quol

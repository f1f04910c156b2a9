// The parts (precompositions) of a template, which layers show, and what they add up to.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "graphics/LottieRepair.h"
#include "graphics/LottieTree.h"

namespace quol {

class LottieParts {
public:
    // Both outlive it.
    LottieParts(const LottieTree& tree, LottieRepair& repair) : tree_(tree), repair_(repair) {}

    // An owner is the asset whose layers these are; 0 for the template itself.
    void addAsset(std::size_t asset);
    void addReference(std::size_t layer, std::size_t owner) {
        references_.push_back({layer, owner});
    }
    void setObjects(std::size_t owner, double drawn) { objects_[owner] = drawn; }

    // Puts right what refers to nothing, or to the wrong kind. False for parts that contain
    // themselves, that lie too deep in each other or add up to too much.
    bool end();

private:
    struct Reference {
        std::size_t layer;
        std::size_t owner;
    };
    struct Total {
        double objects = 0.0; // with all that is in it
        int height = 0;       // parts inside each other
    };
    Total total(std::size_t owner, int depth);
    std::string name(std::size_t id) const;

    const LottieTree& tree_;
    LottieRepair& repair_;
    std::vector<Reference> references_;
    std::multimap<std::string, std::size_t> assets_;
    std::unordered_map<std::size_t, double> objects_; // of an owner's own layers
    std::unordered_map<std::size_t, Total> totals_;
    std::unordered_map<std::size_t, std::vector<std::size_t>> parts_; // that an owner's layers show
};

} // namespace quol

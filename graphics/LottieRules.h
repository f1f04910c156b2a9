// What the engine takes without a look at it, and therefore has to be so: a rule for each kind of
// value that a template holds. Most of a large template is plain values; their rules stand here.
#pragma once

#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "graphics/LottieParts.h"
#include "graphics/LottieRepair.h"
#include "graphics/LottieTree.h"

namespace quol {

class LottieRules {
public:
    // Both outlive it. The tree was read from the text, in which is put right what can be.
    LottieRules(const LottieTree& tree, std::string& text)
        : tree_(tree), repair_(tree, text), parts_(tree, repair_) {}
    LottieRules(const LottieRules&) = delete; // parts_ holds on to repair_
    LottieRules& operator=(const LottieRules&) = delete;

    bool hold() { return composition(0) && parts_.end(); }

private:
    using Rules = LottieRules; // for the lists of members

    // A rule says whether the value at a node is what the engine expects.
    using Rule = bool (LottieRules::*)(std::size_t node);

    // What the engine reads as the member of some object.
    struct Member {
        std::string_view key;
        Rule rule;
    };

    // Numbers beyond this are the rubbish of a broken export; as pixels, frames or counts they
    // would leave the range of the engine's own numbers.
    static constexpr double maxNumber = 1e9;

    // Plain values.
    bool is(std::size_t node, LottieKind kind) const { return tree_[node].kind == kind; }
    bool text(std::size_t node) { return is(node, LottieKind::text); }
    bool filledText(std::size_t node) { return text(node) && !tree_.text(node).empty(); }
    bool number(std::size_t node) {
        return is(node, LottieKind::number) && std::abs(tree_[node].number) <= maxNumber;
    }
    bool flag(std::size_t node) { return is(node, LottieKind::boolean) || number(node); }
    bool textOrNumber(std::size_t node) { return text(node) || number(node); }
    bool numbers(std::size_t node) { return numbersUpTo(node, maxNumber); }
    bool numberOrNumbers(std::size_t node) { return number(node) || numbers(node); }
    bool numbersUpTo(std::size_t list, double most) const;
    bool eachOf(std::size_t list, Rule rule);
    bool textOrTexts(std::size_t node) { return text(node) || eachOf(node, &Rules::text); }

    // Objects. Members that are not named here may be anything.
    bool object(std::size_t node, std::span<const Member> members);
    bool hasDoubleKey(std::size_t node);
    bool hasAll(std::size_t node, std::initializer_list<std::string_view> keys) const;

    // Properties: values, still or with key frames.
    bool property(std::size_t node);
    bool numberOrProperty(std::size_t node) { return number(node) || property(node); }
    bool propertyValue(std::size_t node);
    bool vector(std::size_t node);
    bool coordinate(std::size_t node);
    bool hasOwnValue(std::size_t node, bool isList = false);
    bool givesList(std::size_t node) const;
    bool expressionOrValue(std::size_t node);
    bool noExpression(std::size_t node);

    // Key frames.
    bool keyFrames(std::size_t list, Rule value);
    bool keyFrame(std::size_t node, Rule value);
    bool easing(std::size_t node);
    bool easingValue(std::size_t node);

    // Paths.
    bool pathProperty(std::size_t node);
    bool pathValue(std::size_t node);
    bool pathInList(std::size_t node);
    bool path(std::size_t node);
    bool points(std::size_t node);

    // Properties that the engine counts to.
    bool copies(std::size_t node);
    bool starPoints(std::size_t node);
    bool countProperty(std::size_t node, double most);
    bool within(std::size_t node, double least, double most);

    // Shapes.
    bool shapes(std::size_t list);
    bool shape(std::size_t node);
    bool shapeOf(std::string_view type, std::size_t node);
    bool star(std::size_t node);
    bool isShape(std::size_t item, std::string_view type) const;
    bool repeats(std::size_t item);
    bool draws(double objects);
    bool transform(std::size_t node);
    bool dashes(std::size_t node) { return eachOf(node, &Rules::dash); }
    bool dash(std::size_t node);
    bool gradient(std::size_t node);

    // Texts.
    bool textData(std::size_t node);
    bool documents(std::size_t node);
    bool documentFrames(std::size_t node);
    bool documentFrame(std::size_t node);
    bool document(std::size_t node);
    bool animators(std::size_t node) { return eachOf(node, &Rules::animator); }
    bool animator(std::size_t node);
    bool selector(std::size_t node);
    bool random(std::size_t node);
    bool animated(std::size_t node);
    bool onPath(std::size_t node);
    bool alignment(std::size_t node);

    // Fonts, and the glyphs that a template brings.
    bool fonts(std::size_t node);
    bool fontList(std::size_t node) { return eachOf(node, &Rules::font); }
    bool font(std::size_t node);
    bool glyphs(std::size_t node) { return eachOf(node, &Rules::glyph); }
    bool glyph(std::size_t node);
    bool glyphData(std::size_t node);
    bool glyphShapes(std::size_t node);
    bool glyphsHaveFonts(std::size_t root) const;
    bool hasShapes(std::size_t node) const;

    // Layers, and what they wear.
    bool layers(std::size_t list);
    bool layer(std::size_t node);
    bool layerContent(std::size_t node);
    bool masks(std::size_t node) { return eachOf(node, &Rules::mask); }
    bool mask(std::size_t node);
    bool expansion(std::size_t node);
    bool effects(std::size_t node) { return eachOf(node, &Rules::effect); }
    bool effect(std::size_t node);

    // The template itself.
    bool composition(std::size_t node);
    bool layersOf(std::size_t owner, std::size_t list);
    bool assets(std::size_t node) { return eachOf(node, &Rules::asset); }
    bool asset(std::size_t node);
    bool file(std::size_t node);
    bool markers(std::size_t node) { return eachOf(node, &Rules::marker); }
    bool marker(std::size_t node);
    bool slots(std::size_t node);

    const LottieTree& tree_;
    LottieRepair repair_;
    LottieParts parts_;
    std::vector<std::string_view> keys_; // of one object at a time
    double times_ = 1.0;                 // what is looked at is drawn as often
    double drawn_ = 0.0;                 // objects of the part that is looked at
    double largest_ = 0.0;               // number of the counted property that is looked at
    std::size_t owner_ = 0;              // of the layers that are looked at
};

} // namespace quol

#include "graphics/LottieRules.h"

#include <algorithm>

#include "graphics/LottieExpression.h"

namespace quol {

using std::size_t;
using std::string_view;

// ------------------------------------------------------------------------------------ plain values

// Most of a large template is this; nothing lies inside a number.
bool LottieRules::numbersUpTo(size_t list, double most) const {
    if (!is(list, LottieKind::list)) return false;
    for (size_t item = list + 1; item < tree_[list].end; ++item)
        if (tree_[item].kind != LottieKind::number || !(std::abs(tree_[item].number) <= most))
            return false;
    return true;
}

bool LottieRules::eachOf(size_t list, Rule rule) {
    return is(list, LottieKind::list) &&
           tree_.each(list, [&](size_t item) { return (this->*rule)(item); });
}

// ----------------------------------------------------------------------------------------- objects

bool LottieRules::object(size_t node, std::span<const Member> members) {
    if (!is(node, LottieKind::object) || hasDoubleKey(node)) return false;
    return tree_.each(node, [&](size_t child) {
        const string_view key = tree_.key(child);
        const auto known = std::find_if(members.begin(), members.end(),
                                        [&](const Member& each) { return each.key == key; });
        return known == members.end() || (this->*known->rule)(child);
    });
}

// The engine keeps what it reads twice only once, and loses or mixes up the rest.
bool LottieRules::hasDoubleKey(size_t node) {
    keys_.clear();
    tree_.each(node, [&](size_t child) {
        keys_.push_back(tree_.key(child));
        return true;
    });
    constexpr size_t few = 16;
    if (keys_.size() > few) {
        std::sort(keys_.begin(), keys_.end());
        return std::adjacent_find(keys_.begin(), keys_.end()) != keys_.end();
    }
    for (auto each = keys_.begin(); each != keys_.end(); ++each)
        if (std::find(keys_.begin(), each, *each) != each) return true;
    return false;
}

bool LottieRules::hasAll(size_t node, std::initializer_list<string_view> keys) const {
    return std::all_of(keys.begin(), keys.end(),
                       [&](string_view key) { return tree_.member(node, key) != 0; });
}

// -------------------------------------------------------------------------------------- properties

bool LottieRules::expressionOrValue(size_t node) {
    if (text(node) && !expressionEnds(tree_.text(node))) repair_.leaveOut(node);
    return !is(node, LottieKind::null);
}

// The engine takes any result for a path, or for a text, that it is not.
bool LottieRules::noExpression(size_t node) {
    repair_.leaveOut(node);
    return true;
}

// A value, still or with key frames.
bool LottieRules::property(size_t node) {
    static constexpr Member members[] = {{"k", &Rules::propertyValue}, {"a", &Rules::flag},
                                         {"s", &Rules::flag},          {"sid", &Rules::text},
                                         {"x", &Rules::coordinate},    {"y", &Rules::coordinate},
                                         {"z", &Rules::coordinate}};
    return object(node, members) && hasOwnValue(node);
}

// An expression starts from the value that the property has without it, which the engine must
// have read by then. Objects are coordinates, where "s" tells of them.
bool LottieRules::hasOwnValue(size_t node, bool isList) {
    const size_t at = tree_.member(node, "x");
    if (at == 0) return true;
    const bool isCoordinate = is(at, LottieKind::object) && tree_.member(node, "s") != 0;
    const size_t value = tree_.member(node, "k");
    const bool follows = text(at) && value != 0 && value < at;
    const bool gives =
        (!isList && !givesList(node)) || (text(at) && expressionGivesList(tree_.text(at)));
    if (!isCoordinate && !(follows && gives)) repair_.leaveOut(at);
    return true;
}

bool LottieRules::givesList(size_t node) const {
    const size_t value = tree_.member(node, "k");
    if (value == 0 || !is(value, LottieKind::list)) return false;
    if (!is(value + 1, LottieKind::object)) return true;
    const size_t start = tree_.member(value + 1, "s");
    return start != 0 && is(start, LottieKind::list) && tree_.count(start) > 1;
}

// Of several numbers, however it is written.
bool LottieRules::vector(size_t node) {
    return property(node) && hasOwnValue(node, true);
}

// Of a position whose coordinates are properties of their own; "x" may be an expression too.
bool LottieRules::coordinate(size_t node) {
    return is(node, LottieKind::object) ? property(node) : expressionOrValue(node);
}

bool LottieRules::propertyValue(size_t node) {
    if (number(node)) return true;
    if (!is(node, LottieKind::list) || tree_.count(node) == 0) return false;
    return is(node + 1, LottieKind::object) ? keyFrames(node, &Rules::numberOrNumbers)
                                            : numbers(node);
}

// -------------------------------------------------------------------------------------- key frames

bool LottieRules::keyFrames(size_t list, Rule value) {
    size_t before = 0;
    const bool good = tree_.each(list, [&](size_t frame) {
        const bool follows = before == 0 || tree_.member(before, "s") != 0;
        const bool first = before == 0;
        before = frame;
        return follows && keyFrame(frame, value) && (!first || tree_.member(frame, "s") != 0);
    });
    // The engine would look for the frame that the last one leads to.
    return good && before != 0 && tree_.member(before, "e") == 0;
}

bool LottieRules::keyFrame(size_t node, Rule value) {
    static constexpr Member members[] = {{"t", &Rules::number},     {"h", &Rules::flag},
                                         {"i", &Rules::easing},     {"o", &Rules::easing},
                                         {"to", &Rules::numbers},   {"ti", &Rules::numbers},
                                         {"n", &Rules::textOrTexts}};
    if (!object(node, members) || tree_.member(node, "t") == 0) return false;
    for (const string_view key : {"s", "e"}) {
        const size_t at = tree_.member(node, key);
        if (at != 0 && !(this->*value)(at)) return false;
    }
    return true;
}

bool LottieRules::easing(size_t node) {
    static constexpr Member members[] = {{"x", &Rules::easingValue}, {"y", &Rules::easingValue}};
    return object(node, members);
}

bool LottieRules::easingValue(size_t node) {
    return number(node) || (numbers(node) && tree_[node].end > node + 1);
}

} // namespace quol

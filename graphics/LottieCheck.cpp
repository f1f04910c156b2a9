#include "graphics/LottieCheck.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "graphics/LottieExpression.h"
#include "graphics/LottieTree.h"

namespace quol {

namespace {

using std::size_t;
using std::string_view;

// Numbers beyond this are the rubbish of a broken export; as pixels, frames or counts they would
// leave the range of the engine's own numbers.
constexpr double maxNumber = 1e9;

// Points of a path lie nearer than this: the engine cuts a longer curve into pieces for ever.
constexpr double maxCoordinate = 1e6;

// Copies and points may swing over by this much between two key frames.
constexpr double maxSwing = 16.0;

enum class LayerType { part = 0, image = 2, empty = 3, shapes = 4, text = 5 };

class Check;
using CheckValue = bool (Check::*)(size_t node);

// What the engine reads as the member of some object, and what it has to be.
struct Member {
    string_view key;
    CheckValue check;
};

class Check {
public:
    Check(const LottieTree& tree, std::string& text) : tree_(tree), text_(text) {}

    bool drawable() { return composition(0) && partsEnd(); }

private:
    // ------------------------------------------------------------------------------ plain values
    bool is(size_t node, LottieKind kind) const { return tree_[node].kind == kind; }
    bool text(size_t node) { return is(node, LottieKind::text); }
    bool number(size_t node) {
        return is(node, LottieKind::number) && std::abs(tree_[node].number) <= maxNumber;
    }
    bool flag(size_t node) { return is(node, LottieKind::boolean) || number(node); }
    bool textOrNumber(size_t node) { return text(node) || number(node); }

    bool eachOf(size_t list, CheckValue check) {
        return is(list, LottieKind::list) &&
               tree_.each(list, [&](size_t item) { return (this->*check)(item); });
    }
    bool numbers(size_t node) { return numbersUpTo(node, maxNumber); }
    // Most of a large template is this; nothing lies inside a number.
    bool numbersUpTo(size_t list, double most) const {
        if (!is(list, LottieKind::list)) return false;
        for (size_t item = list + 1; item < tree_[list].end; ++item)
            if (tree_[item].kind != LottieKind::number || !(std::abs(tree_[item].number) <= most))
                return false;
        return true;
    }
    bool numberOrNumbers(size_t node) { return number(node) || numbers(node); }

    // ---------------------------------------------------------------------------------- objects
    bool object(size_t node, std::span<const Member> members) {
        if (!is(node, LottieKind::object) || hasDoubleKey(node)) return false;
        return tree_.each(node, [&](size_t child) {
            const string_view key = tree_.key(child);
            const auto known = std::find_if(members.begin(), members.end(),
                                            [&](const Member& each) { return each.key == key; });
            return known == members.end() || (this->*known->check)(child);
        });
    }

    // The engine keeps what it reads twice only once, and loses or mixes up the rest.
    bool hasDoubleKey(size_t node) {
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

    // The engine passes over what it does not know.
    void leaveOut(size_t member) { text_[tree_[member].keyAt] = '_'; }

    bool expressionOrValue(size_t node) {
        if (text(node) && !expressionEnds(tree_.text(node))) leaveOut(node);
        return !is(node, LottieKind::null);
    }

    // ------------------------------------------------------------------------------- properties
    // The engine takes any result for a path, or for a text, that it is not.
    bool noExpression(size_t node) {
        leaveOut(node);
        return true;
    }
    // A value, still or with key frames.
    bool property(size_t node) {
        static constexpr Member members[] = {
            {"k", &Check::propertyValue}, {"a", &Check::flag},       {"s", &Check::flag},
            {"sid", &Check::text},        {"x", &Check::coordinate}, {"y", &Check::coordinate},
            {"z", &Check::coordinate}};
        return object(node, members) && hasOwnValue(node);
    }
    // An expression starts from the value that the property has without it, which the engine must
    // have read by then. Objects are coordinates, where "s" tells of them.
    bool hasOwnValue(size_t node, bool isList = false) {
        const size_t at = tree_.member(node, "x");
        if (at == 0) return true;
        const bool isCoordinate = is(at, LottieKind::object) && tree_.member(node, "s") != 0;
        const size_t value = tree_.member(node, "k");
        const bool follows = text(at) && value != 0 && value < at;
        const bool gives =
            (!isList && !givesList(node)) || (text(at) && expressionGivesList(tree_.text(at)));
        if (!isCoordinate && !(follows && gives)) leaveOut(at);
        return true;
    }
    bool givesList(size_t node) const {
        const size_t value = tree_.member(node, "k");
        if (value == 0 || !is(value, LottieKind::list)) return false;
        if (!is(value + 1, LottieKind::object)) return true;
        const size_t start = tree_.member(value + 1, "s");
        return start != 0 && is(start, LottieKind::list) && tree_.count(start) > 1;
    }
    // Of several numbers, however it is written.
    bool vector(size_t node) { return property(node) && hasOwnValue(node, true); }
    // Of a position whose coordinates are properties of their own; "x" may be an expression too.
    bool coordinate(size_t node) {
        return is(node, LottieKind::object) ? property(node) : expressionOrValue(node);
    }
    bool propertyValue(size_t node) {
        if (number(node)) return true;
        if (!is(node, LottieKind::list) || tree_.count(node) == 0) return false;
        return is(node + 1, LottieKind::object) ? keyFrames(node, &Check::numberOrNumbers)
                                                : numbers(node);
    }

    bool keyFrames(size_t list, CheckValue value) {
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
    bool keyFrame(size_t node, CheckValue value) {
        static constexpr Member members[] = {{"t", &Check::number},     {"h", &Check::flag},
                                             {"i", &Check::easing},     {"o", &Check::easing},
                                             {"to", &Check::numbers},   {"ti", &Check::numbers},
                                             {"n", &Check::textOrTexts}};
        if (!object(node, members) || tree_.member(node, "t") == 0) return false;
        for (const string_view key : {"s", "e"}) {
            const size_t at = tree_.member(node, key);
            if (at != 0 && !(this->*value)(at)) return false;
        }
        return true;
    }
    bool easing(size_t node) {
        static constexpr Member members[] = {{"x", &Check::easingValue},
                                             {"y", &Check::easingValue}};
        return object(node, members);
    }
    bool easingValue(size_t node) {
        return number(node) || (numbers(node) && tree_[node].end > node + 1);
    }
    bool textOrTexts(size_t node) { return text(node) || eachOf(node, &Check::text); }

    // ------------------------------------------------------------------------------------ paths
    bool pathProperty(size_t node) {
        static constexpr Member members[] = {{"k", &Check::pathValue},
                                             {"a", &Check::flag},
                                             {"ix", &Check::number},
                                             {"sid", &Check::text},
                                             {"x", &Check::noExpression}};
        return object(node, members) && tree_.member(node, "k") != 0;
    }
    bool pathValue(size_t node) {
        if (is(node, LottieKind::object)) return path(node);
        return is(node, LottieKind::list) && tree_.count(node) > 0 &&
               keyFrames(node, &Check::pathInList);
    }
    bool pathInList(size_t node) {
        return is(node, LottieKind::list) && tree_.count(node) == 1 && path(node + 1);
    }
    bool path(size_t node) {
        static constexpr Member members[] = {{"i", &Check::points},
                                             {"o", &Check::points},
                                             {"v", &Check::points},
                                             {"c", &Check::flag}};
        if (!object(node, members)) return false;
        const size_t in = tree_.member(node, "i");
        const size_t out = tree_.member(node, "o");
        const size_t vertices = tree_.member(node, "v");
        if (in == 0 || out == 0 || vertices == 0) return false;
        const size_t count = tree_.count(vertices);
        return tree_.count(in) == count && tree_.count(out) == count;
    }
    bool points(size_t node) {
        return is(node, LottieKind::list) && tree_.each(node, [&](size_t point) {
            return tree_[point].end >= point + 3 && numbersUpTo(point, maxCoordinate);
        });
    }

    // -------------------------------------------------------------------------- counted properties
    // Every number of a property that the engine counts to.
    bool countProperty(size_t node, double most) {
        if (!property(node)) return false;
        const size_t expression = tree_.member(node, "x");
        if (expression != 0) leaveOut(expression); // whose result nobody knows
        const size_t value = tree_.member(node, "k");
        if (value == 0) return true;
        if (is(value, LottieKind::list) && is(value + 1, LottieKind::object))
            return tree_.each(value, [&](size_t frame) {
                return tree_.each(frame, [&](size_t child) {
                    const string_view key = tree_.key(child);
                    if (key == "s" || key == "e") return within(child, most);
                    return (key != "i" && key != "o") || within(child, maxSwing);
                });
            });
        return within(value, most);
    }
    // All numbers of a value, which lie from 0 on; those of an easing from as much below it.
    bool within(size_t node, double most) {
        for (size_t each = node; each < tree_[node].end; ++each) {
            const double number = tree_[each].number;
            if (number > most || number < (most == maxSwing ? -maxSwing : 0.0)) return false;
            largest_ = std::max(largest_, number);
        }
        return true;
    }
    bool copies(size_t node) { return countProperty(node, maxLottieCopies); }
    bool starPoints(size_t node) { return countProperty(node, maxLottiePoints); }

    // ----------------------------------------------------------------------------------- shapes
    bool transform(size_t node) {
        static constexpr Member members[] = {
            {"ty", &Check::text},     {"nm", &Check::text},     {"hd", &Check::flag},
            {"p", &Check::vector},    {"a", &Check::vector},    {"s", &Check::vector},
            {"r", &Check::property},  {"o", &Check::property},  {"sk", &Check::property},
            {"sa", &Check::property}, {"rx", &Check::property}, {"ry", &Check::property},
            {"rz", &Check::property}, {"or", &Check::property}, {"so", &Check::property},
            {"eo", &Check::property}, {"ddd", &Check::flag}};
        return object(node, members);
    }

    // What is drawn of a list counts as often as its repeaters repeat it.
    bool shapes(size_t list) {
        if (!is(list, LottieKind::list)) return false;
        const double outside = times_;
        const bool good = tree_.each(list, [&](size_t item) { return repeats(item); }) &&
                          tree_.each(list, [&](size_t item) { return shape(item); });
        times_ = outside;
        return good;
    }
    bool repeats(size_t item) {
        if (!isShape(item, "rp")) return true;
        const size_t count = tree_.member(item, "c");
        largest_ = 1.0;
        if (count != 0 && !copies(count)) return false;
        times_ *= largest_;
        return true;
    }
    bool isShape(size_t item, string_view type) const {
        const size_t at = tree_.member(item, "ty");
        return at != 0 && is(at, LottieKind::text) && tree_.text(at) == type;
    }
    bool draws(double objects) {
        drawn_ += objects * times_;
        return drawn_ <= maxLottieObjects;
    }

    bool shape(size_t node) {
        static constexpr Member gradientFill[] = {
            {"s", &Check::vector},   {"e", &Check::vector},   {"g", &Check::gradient},
            {"h", &Check::property}, {"a", &Check::property}, {"o", &Check::property},
            {"t", &Check::number},   {"r", &Check::number},   {"w", &Check::property},
            {"lc", &Check::number},  {"lj", &Check::number},  {"ml", &Check::number},
            {"d", &Check::dashes},   {"nm", &Check::text},    {"hd", &Check::flag}};
        static constexpr Member paint[] = {{"c", &Check::vector},   {"o", &Check::property},
                                           {"w", &Check::property}, {"r", &Check::number},
                                           {"lc", &Check::number},  {"lj", &Check::number},
                                           {"ml", &Check::number},  {"d", &Check::dashes},
                                           {"nm", &Check::text},    {"hd", &Check::flag}};
        static constexpr Member rectangle[] = {{"p", &Check::vector},   {"s", &Check::vector},
                                               {"r", &Check::property}, {"d", &Check::number},
                                               {"nm", &Check::text},    {"hd", &Check::flag}};
        static constexpr Member star[] = {
            {"p", &Check::vector},    {"pt", &Check::starPoints}, {"r", &Check::property},
            {"ir", &Check::property}, {"is", &Check::property},   {"or", &Check::property},
            {"os", &Check::property}, {"sy", &Check::number},     {"d", &Check::number},
            {"nm", &Check::text},     {"hd", &Check::flag}};
        static constexpr Member outline[] = {{"ks", &Check::pathProperty},
                                             {"d", &Check::number},
                                             {"nm", &Check::text},
                                             {"hd", &Check::flag}};
        static constexpr Member group[] = {{"it", &Check::shapes},
                                           {"nm", &Check::text},
                                           {"hd", &Check::flag},
                                           {"bm", &Check::number}};
        static constexpr Member trim[] = {{"s", &Check::property}, {"e", &Check::property},
                                          {"o", &Check::property}, {"m", &Check::number},
                                          {"nm", &Check::text},    {"hd", &Check::flag}};
        static constexpr Member repeater[] = {{"o", &Check::property},
                                              {"m", &Check::number},
                                              {"tr", &Check::transform},
                                              {"nm", &Check::text},
                                              {"hd", &Check::flag}};
        static constexpr Member other[] = {
            {"r", &Check::property},          {"a", &Check::property}, {"lj", &Check::number},
            {"ml", &Check::numberOrProperty}, {"nm", &Check::text},    {"hd", &Check::flag}};

        const size_t typeAt = tree_.member(node, "ty");
        if (typeAt == 0) return object(node, {});
        if (!text(typeAt) || !draws(1.0)) return false;
        const string_view type = tree_.text(typeAt);
        if (type == "gr") return object(node, group);
        if (type == "sh") return tree_.member(node, "ks") != 0 && object(node, outline);
        if (type == "rc" || type == "el") return object(node, rectangle);
        if (type == "fl" || type == "st") return object(node, paint);
        if (type == "gf" || type == "gs") return object(node, gradientFill);
        if (type == "tr") return transform(node);
        if (type == "tm") return object(node, trim);
        if (type == "rp") return object(node, repeater);
        if (type == "rd" || type == "op") return object(node, other);
        if (type == "sr") {
            largest_ = 0.0;
            return object(node, star) && draws(largest_ / 16.0);
        }
        return object(node, {});
    }
    bool numberOrProperty(size_t node) { return number(node) || property(node); }

    bool dashes(size_t node) { return eachOf(node, &Check::dash); }
    bool dash(size_t node) {
        static constexpr Member members[] = {{"n", &Check::text}, {"v", &Check::property}};
        return object(node, members);
    }

    // "p" colours of four numbers each, and then pairs for what shines through.
    bool gradient(size_t node) {
        static constexpr Member members[] = {{"p", &Check::number}, {"k", &Check::property}};
        if (!object(node, members)) return false;
        const size_t countAt = tree_.member(node, "p");
        const size_t colors = tree_.member(node, "k");
        if (countAt == 0 || colors == 0) return false;
        const double count = tree_[countAt].number;
        if (count < 0.0 || count != std::floor(count)) return false;
        const size_t value = tree_.member(colors, "k");
        if (value == 0 || !is(value, LottieKind::list)) return false;
        const auto isEnough = [&](size_t list) {
            const size_t size = is(list, LottieKind::list) ? tree_.count(list) : 0;
            return static_cast<double>(size) >= 4.0 * count && size % 2 == 0;
        };
        if (!is(value + 1, LottieKind::object)) return isEnough(value);
        return tree_.each(value, [&](size_t frame) {
            return tree_.each(frame, [&](size_t child) {
                const string_view key = tree_.key(child);
                return (key != "s" && key != "e") || isEnough(child);
            });
        });
    }

    // ------------------------------------------------------------------------------------ texts
    bool textData(size_t node) {
        static constexpr Member members[] = {{"d", &Check::documents},
                                             {"a", &Check::animators},
                                             {"p", &Check::onPath},
                                             {"m", &Check::alignment}};
        return object(node, members);
    }
    bool documents(size_t node) {
        static constexpr Member members[] = {
            {"k", &Check::documentFrames}, {"x", &Check::noExpression}, {"sid", &Check::text}};
        return object(node, members);
    }
    bool documentFrames(size_t node) {
        return is(node, LottieKind::list) && tree_.count(node) > 0 &&
               eachOf(node, &Check::documentFrame);
    }
    bool documentFrame(size_t node) {
        static constexpr Member members[] = {{"s", &Check::document}, {"t", &Check::number}};
        return object(node, members) && tree_.member(node, "s") != 0;
    }
    bool document(size_t node) {
        static constexpr Member members[] = {
            {"f", &Check::text},     {"t", &Check::text},     {"s", &Check::number},
            {"j", &Check::number},   {"tr", &Check::number},  {"lh", &Check::number},
            {"ls", &Check::number},  {"ca", &Check::number},  {"sw", &Check::number},
            {"fc", &Check::numbers}, {"sc", &Check::numbers}, {"sz", &Check::numbers},
            {"ps", &Check::numbers}, {"of", &Check::flag}};
        return object(node, members) && hasAll(node, {"f", "t"});
    }
    bool animators(size_t node) { return eachOf(node, &Check::animator); }
    bool animator(size_t node) {
        static constexpr Member members[] = {
            {"nm", &Check::text}, {"s", &Check::selector}, {"a", &Check::animated}};
        return object(node, members);
    }
    bool selector(size_t node) {
        static constexpr Member members[] = {
            {"t", &Check::number},    {"b", &Check::number},    {"r", &Check::number},
            {"sh", &Check::number},   {"rn", &Check::random},   {"s", &Check::property},
            {"e", &Check::property},  {"o", &Check::property},  {"a", &Check::property},
            {"xe", &Check::property}, {"ne", &Check::property}, {"sm", &Check::property}};
        return object(node, members);
    }
    bool random(size_t node) {
        leaveOut(node);
        return true;
    }
    bool animated(size_t node) {
        return object(node, {}) && tree_.each(node, [&](size_t child) {
            return !is(child, LottieKind::null) &&
                   (!is(child, LottieKind::object) || property(child));
        });
    }
    bool onPath(size_t node) {
        static constexpr Member members[] = {{"m", &Check::number},   {"f", &Check::property},
                                             {"l", &Check::property}, {"a", &Check::property},
                                             {"p", &Check::property}, {"r", &Check::property}};
        return object(node, members);
    }
    bool alignment(size_t node) {
        static constexpr Member members[] = {{"g", &Check::number}, {"a", &Check::property}};
        return object(node, members);
    }

    // ------------------------------------------------------------------------- masks and effects
    bool masks(size_t node) { return eachOf(node, &Check::mask); }
    bool mask(size_t node) {
        static constexpr Member members[] = {
            {"mode", &Check::filledText}, {"pt", &Check::pathProperty}, {"o", &Check::property},
            {"x", &Check::expansion},     {"inv", &Check::flag},        {"nm", &Check::text}};
        return object(node, members);
    }
    // With one key frame alone the engine looks for the next.
    bool expansion(size_t node) {
        if (!property(node)) return false;
        const size_t value = tree_.member(node, "k");
        return value == 0 || number(value) || !is(value + 1, LottieKind::object) ||
               tree_.count(value) > 1;
    }
    bool filledText(size_t node) { return text(node) && !tree_.text(node).empty(); }

    bool effects(size_t node) { return eachOf(node, &Check::effect); }
    bool effect(size_t node) {
        static constexpr Member members[] = {
            {"ty", &Check::number}, {"nm", &Check::text},    {"mn", &Check::text},
            {"en", &Check::flag},   {"ef", &Check::effects}, {"v", &Check::numberOrProperty}};
        return object(node, members);
    }

    // ----------------------------------------------------------------------------------- layers
    struct Links {
        std::unordered_map<long long, std::vector<long long>> next;
        void add(double from, double to) {
            next[static_cast<long long>(from)].push_back(static_cast<long long>(to));
        }
        bool hasLoop() const;
    };

    bool layers(size_t list) {
        if (!is(list, LottieKind::list)) return false;
        Links parents;
        Links mattes;
        return tree_.each(list,
                          [&](size_t item) {
                              if (!layer(item)) return false;
                              const size_t ind = tree_.member(item, "ind");
                              const double own = ind == 0 ? 0.0 : tree_[ind].number;
                              const size_t parent = tree_.member(item, "parent");
                              if (parent != 0) parents.add(own, tree_[parent].number);
                              const size_t matte = tree_.member(item, "tp");
                              if (matte != 0) mattes.add(own, tree_[matte].number);
                              return true;
                          }) &&
               !parents.hasLoop() && !mattes.hasLoop();
    }

    bool layer(size_t node) {
        static constexpr Member members[] = {{"nm", &Check::text},
                                             {"ty", &Check::number},
                                             {"ind", &Check::number},
                                             {"parent", &Check::number},
                                             {"refId", &Check::text},
                                             {"ip", &Check::number},
                                             {"op", &Check::number},
                                             {"st", &Check::number},
                                             {"sr", &Check::number},
                                             {"w", &Check::number},
                                             {"h", &Check::number},
                                             {"sw", &Check::number},
                                             {"sh", &Check::number},
                                             {"sc", &Check::text},
                                             {"bm", &Check::number},
                                             {"tt", &Check::number},
                                             {"td", &Check::number},
                                             {"tp", &Check::number},
                                             {"ddd", &Check::flag},
                                             {"ao", &Check::flag},
                                             {"hd", &Check::flag},
                                             {"cp", &Check::flag},
                                             {"hasMask", &Check::flag},
                                             {"tm", &Check::property},
                                             {"ks", &Check::transform},
                                             {"ef", &Check::effects},
                                             {"masksProperties", &Check::masks},
                                             {"matteSrc", &Check::number}};
        if (!object(node, members) || !draws(1.0)) return false;
        const size_t typeAt = tree_.member(node, "ty");
        const double type = typeAt == 0 ? 3.0 : tree_[typeAt].number;
        constexpr double mostTypes = 255.0; // the engine keeps it in a byte
        if (type != std::floor(type)) return false;
        if (type < 0.0 || type > mostTypes) empty(typeAt);
        const auto isType = [&](LayerType each) { return type == static_cast<double>(each); };
        const size_t shapesAt = tree_.member(node, "shapes");
        const size_t textAt = tree_.member(node, "t");
        if (shapesAt != 0 && !isType(LayerType::shapes))
            leaveOut(shapesAt);
        else if (shapesAt != 0 && !shapes(shapesAt))
            return false;
        if (textAt != 0 && !isType(LayerType::text))
            leaveOut(textAt);
        else if (textAt != 0 && !textData(textAt))
            return false;
        if (isType(LayerType::text) && (textAt == 0 || tree_.member(textAt, "d") == 0))
            empty(typeAt);
        if (isType(LayerType::part) || isType(LayerType::image))
            references_.push_back({node, owner_});
        return true;
    }

    // As a layer without content: "ty" is one digit then.
    void empty(size_t typeAt) {
        const size_t at = tree_[typeAt].at;
        text_[at] = '3';
        for (size_t next = at + 1; next < text_.size() && isOfNumber(text_[next]); ++next)
            text_[next] = ' ';
    }
    static bool isOfNumber(char c) {
        return (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
    }

    // -------------------------------------------------------------------------------- composition
    bool composition(size_t node) {
        static constexpr Member members[] = {
            {"v", &Check::text},      {"nm", &Check::text},      {"fr", &Check::number},
            {"ip", &Check::number},   {"op", &Check::number},    {"w", &Check::number},
            {"h", &Check::number},    {"ddd", &Check::flag},     {"assets", &Check::assets},
            {"fonts", &Check::fonts}, {"chars", &Check::glyphs}, {"markers", &Check::markers},
            {"slots", &Check::slots}};
        if (!object(node, members)) return false;
        const size_t layersAt = tree_.member(node, "layers");
        if (layersAt == 0 || !glyphsHaveFonts(node)) return false;
        owner_ = 0;
        drawn_ = 0.0;
        if (!layers(layersAt)) return false;
        weights_[0] = drawn_;
        return true;
    }

    bool assets(size_t node) { return eachOf(node, &Check::asset); }
    bool asset(size_t node) {
        static constexpr Member members[] = {
            {"id", &Check::textOrNumber}, {"nm", &Check::text},       {"u", &Check::text},
            {"p", &Check::file},          {"w", &Check::number},      {"h", &Check::number},
            {"e", &Check::flag},          {"t", &Check::textOrNumber}};
        if (!object(node, members)) return false;
        const size_t id = tree_.member(node, "id");
        const size_t layersAt = tree_.member(node, "layers");
        if (id != 0) assets_.emplace(name(id), node);
        if (layersAt == 0) return true;
        const size_t file = tree_.member(node, "p");
        if (file != 0) leaveOut(file); // either an image or a part
        owner_ = node;
        drawn_ = 0.0;
        if (!layers(layersAt)) return false;
        weights_[node] = drawn_;
        return true;
    }
    std::string name(size_t id) const {
        return is(id, LottieKind::text) ? std::string(tree_.text(id))
                                        : std::to_string(static_cast<long long>(tree_[id].number));
    }
    // A name, or the bytes themselves behind a comma.
    bool file(size_t node) {
        if (!text(node)) return false;
        const string_view path = tree_.text(node);
        return path.substr(0, 5) != "data:" || path.find(',') != string_view::npos;
    }

    bool fonts(size_t node) {
        static constexpr Member members[] = {{"list", &Check::fontList}};
        return object(node, members);
    }
    bool fontList(size_t node) { return eachOf(node, &Check::font); }
    bool font(size_t node) {
        static constexpr Member members[] = {
            {"fName", &Check::text}, {"fFamily", &Check::text},  {"fStyle", &Check::text},
            {"fPath", &Check::text}, {"ascent", &Check::number}, {"origin", &Check::number}};
        return object(node, members) && tree_.member(node, "fName") != 0;
    }
    // Glyphs are looked up by all three names of a font.
    bool glyphsHaveFonts(size_t root) const {
        const size_t glyphsAt = tree_.member(root, "chars");
        const size_t fontsAt = tree_.member(root, "fonts");
        if (glyphsAt == 0 || fontsAt == 0 || tree_.count(glyphsAt) == 0) return true;
        const size_t list = tree_.member(fontsAt, "list");
        return list == 0 || tree_.each(list, [&](size_t each) {
            return hasAll(each, {"fName", "fFamily", "fStyle"});
        });
    }
    bool glyphs(size_t node) { return eachOf(node, &Check::glyph); }
    bool glyph(size_t node) {
        static constexpr Member members[] = {
            {"ch", &Check::text},  {"style", &Check::text},  {"fFamily", &Check::text},
            {"w", &Check::number}, {"size", &Check::number}, {"data", &Check::glyphData}};
        return object(node, members) && hasAll(node, {"ch", "style", "fFamily"});
    }
    bool hasAll(size_t node, std::initializer_list<string_view> keys) const {
        return std::all_of(keys.begin(), keys.end(),
                           [&](string_view key) { return tree_.member(node, key) != 0; });
    }
    // A blank has no outline: the engine takes that as an object without members, not as an empty
    // list.
    bool glyphData(size_t node) {
        static constexpr Member members[] = {{"shapes", &Check::glyphShapes}};
        const size_t list = tree_.member(node, "shapes");
        const bool isAlone = list != 0 && tree_[node].end == tree_[list].end && list == node + 1;
        if (isAlone && is(list, LottieKind::list) && tree_.count(list) == 0) {
            erase(list);
            return true;
        }
        return object(node, members) && (hasShapes(node) || tree_[node].end == node + 1);
    }
    bool hasShapes(size_t node) const {
        const size_t list = tree_.member(node, "shapes");
        return list != 0 && tree_.count(list) > 0;
    }
    // An empty list, the only member of its object, with its key.
    void erase(size_t list) {
        const size_t begin = tree_[list].keyAt - 1;
        const size_t end = text_.find(']', begin);
        std::fill(text_.begin() + static_cast<std::ptrdiff_t>(begin),
                  text_.begin() + static_cast<std::ptrdiff_t>(end) + 1, ' ');
    }
    bool glyphShapes(size_t node) {
        drawn_ = 0.0;
        return shapes(node) && tree_.each(node, [&](size_t item) {
            if (!isShape(item, "gr")) return false;
            const size_t items = tree_.member(item, "it");
            return items != 0 && tree_[items].end > items + 1 &&
                   tree_.each(items, [&](size_t each) { return isShape(each, "sh"); });
        });
    }
    bool markers(size_t node) { return eachOf(node, &Check::marker); }
    bool marker(size_t node) {
        static constexpr Member members[] = {
            {"cm", &Check::text}, {"tm", &Check::number}, {"dr", &Check::number}};
        return object(node, members);
    }
    bool slots(size_t node) {
        return object(node, {}) && tree_.each(node, [&](size_t slot) {
            return is(slot, LottieKind::object) && !hasDoubleKey(slot);
        });
    }

    // ------------------------------------------------------------------------------------ parts
    struct Reference {
        size_t layer;
        size_t owner; // the asset whose layer it is; 0 for the template itself
    };

    // Puts right what refers to nothing, or to the wrong kind. False for parts that contain
    // themselves, that lie too deep in each other or add up to too much.
    bool partsEnd() {
        for (const Reference& each : references_) {
            const size_t id = tree_.member(each.layer, "refId");
            const size_t typeAt = tree_.member(each.layer, "ty");
            const bool isPart = tree_[typeAt].number == 0.0;
            const auto [first, last] =
                id == 0 ? std::pair(assets_.cend(), assets_.cend())
                        : std::as_const(assets_).equal_range(std::string(tree_.text(id)));
            bool fits = first != last;
            for (auto found = first; found != last; ++found) {
                const string_view needed = isPart ? "layers" : "p";
                fits = fits && tree_.member(found->second, needed) != 0 &&
                       (isPart || tree_.member(found->second, "layers") == 0);
            }
            if (!fits) empty(typeAt);
            if (!fits || !isPart) continue;
            for (auto found = first; found != last; ++found)
                parts_[each.owner].push_back(found->second);
        }
        const Part all = part(0, 0);
        return all.objects <= maxLottieObjects && all.height <= maxLottieParts;
    }
    struct Part {
        double objects = 0.0; // with all that is in it
        int height = 0;       // parts inside each other
    };
    // More than is allowed for one that contains itself.
    Part part(size_t node, int depth) {
        constexpr Part tooMuch = {maxLottieObjects * 2.0, maxLottieParts + 1};
        if (depth > maxLottieParts) return tooMuch;
        const auto known = totals_.find(node);
        if (known != totals_.end()) return known->second;
        totals_[node] = tooMuch; // until it is known: what contains itself comes back here
        Part total = {weights_[node], 0};
        for (const size_t each : parts_[node]) {
            const Part inner = part(each, depth + 1);
            total.objects = std::min(total.objects + inner.objects, tooMuch.objects);
            total.height = std::max(total.height, inner.height + 1);
        }
        return totals_[node] = total;
    }

    const LottieTree& tree_;
    std::string& text_;
    std::vector<string_view> keys_; // of one object at a time
    double times_ = 1.0;            // what is looked at is drawn as often
    double drawn_ = 0.0;            // objects of the part that is looked at
    double largest_ = 0.0;          // number of the counted property that is looked at
    size_t owner_ = 0;
    std::vector<Reference> references_;
    std::multimap<std::string, size_t> assets_;
    std::unordered_map<size_t, double> weights_;
    std::unordered_map<size_t, Part> totals_;
    std::unordered_map<size_t, std::vector<size_t>> parts_;
};

// From each that is linked, along its links: one that is met again on the way is in a loop.
bool Check::Links::hasLoop() const {
    enum class State { unseen, open, done };
    std::unordered_map<long long, State> states;
    std::vector<std::pair<long long, size_t>> way;
    for (const auto& [start, links] : next) {
        if (states[start] == State::done) continue;
        way.assign(1, {start, 0});
        states[start] = State::open;
        while (!way.empty()) {
            auto& [at, done] = way.back();
            const auto found = next.find(at);
            if (found == next.end() || done == found->second.size()) {
                states[at] = State::done;
                way.pop_back();
                continue;
            }
            const long long to = found->second[done++];
            State& state = states[to];
            if (state == State::open) return true;
            if (state == State::done) continue;
            state = State::open;
            way.emplace_back(to, 0);
        }
    }
    return false;
}

} // namespace

std::optional<std::string> drawableTemplate(const std::string& json) {
    const std::optional<LottieTree> tree = LottieTree::read(json);
    if (!tree) return std::nullopt;
    std::optional<std::string> text(json);
    if (!Check(*tree, *text).drawable()) return std::nullopt;
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

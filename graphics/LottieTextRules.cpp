#include "graphics/LottieRules.h"

namespace quol {

using std::size_t;

bool LottieRules::textData(size_t node) {
    static constexpr Member members[] = {{"d", &Rules::documents},
                                         {"a", &Rules::animators},
                                         {"p", &Rules::onPath},
                                         {"m", &Rules::alignment}};
    return object(node, members);
}

bool LottieRules::documents(size_t node) {
    static constexpr Member members[] = {
        {"k", &Rules::documentFrames}, {"x", &Rules::noExpression}, {"sid", &Rules::text}};
    return object(node, members);
}

bool LottieRules::documentFrames(size_t node) {
    return is(node, LottieKind::list) && tree_.count(node) > 0 &&
           eachOf(node, &Rules::documentFrame);
}

bool LottieRules::documentFrame(size_t node) {
    static constexpr Member members[] = {{"s", &Rules::document}, {"t", &Rules::number}};
    return object(node, members) && tree_.member(node, "s") != 0;
}

bool LottieRules::document(size_t node) {
    static constexpr Member members[] = {
        {"f", &Rules::text},     {"t", &Rules::text},     {"s", &Rules::number},
        {"j", &Rules::number},   {"tr", &Rules::number},  {"lh", &Rules::number},
        {"ls", &Rules::number},  {"ca", &Rules::number},  {"sw", &Rules::number},
        {"fc", &Rules::numbers}, {"sc", &Rules::numbers}, {"sz", &Rules::numbers},
        {"ps", &Rules::numbers}, {"of", &Rules::flag}};
    return object(node, members) && hasAll(node, {"f", "t"});
}

bool LottieRules::animator(size_t node) {
    static constexpr Member members[] = {
        {"nm", &Rules::text}, {"s", &Rules::selector}, {"a", &Rules::animated}};
    return object(node, members);
}

bool LottieRules::selector(size_t node) {
    static constexpr Member members[] = {
        {"t", &Rules::number},    {"b", &Rules::number},    {"r", &Rules::number},
        {"sh", &Rules::number},   {"rn", &Rules::random},   {"s", &Rules::property},
        {"e", &Rules::property},  {"o", &Rules::property},  {"a", &Rules::property},
        {"xe", &Rules::property}, {"ne", &Rules::property}, {"sm", &Rules::property}};
    return object(node, members);
}

bool LottieRules::random(size_t node) {
    repair_.leaveOut(node);
    return true;
}

bool LottieRules::animated(size_t node) {
    return object(node, {}) && tree_.each(node, [&](size_t child) {
        return !is(child, LottieKind::null) && (!is(child, LottieKind::object) || property(child));
    });
}

bool LottieRules::onPath(size_t node) {
    static constexpr Member members[] = {{"m", &Rules::number},   {"f", &Rules::property},
                                         {"l", &Rules::property}, {"a", &Rules::property},
                                         {"p", &Rules::property}, {"r", &Rules::property}};
    return object(node, members);
}

bool LottieRules::alignment(size_t node) {
    static constexpr Member members[] = {{"g", &Rules::number}, {"a", &Rules::property}};
    return object(node, members);
}

} // namespace quol

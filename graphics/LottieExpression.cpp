#include "graphics/LottieExpression.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quol {

namespace {

using std::string_view;
constexpr auto npos = string_view::npos;

// Longer than any that is written by hand; each of its steps takes time in every picture.
constexpr std::size_t maxSize = 16384;

// For each of them the text before it is looked at.
constexpr std::size_t maxBraces = 256;

// Loops, functions, and what leads to a function or to endless work by another way.
constexpr std::array<string_view, 25> words = {
    "while",   "for",     "do",        "function", "Function", "class", "eval",
    "async",   "await",   "yield",     "import",   "get",      "set",   "constructor",
    "repeat",  "fill",    "padStart",  "padEnd",   "Reflect",  "Proxy", "setTimeout",
    "forEach", "valueOf", "__proto__", "with"};

bool isOfWord(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isRefused(string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

char lastOf(string_view text, std::size_t end) {
    while (end > 0 && isBlank(text[end - 1]))
        --end;
    return end > 0 ? text[end - 1] : '\0';
}

// Whether the bracket at `at` takes a member by a name that is put together: `a["b" + "c"]`.
bool isComputedMember(string_view text, std::size_t at) {
    const char before = lastOf(text, at);
    if (!isOfWord(before) && before != ')' && before != ']' && before != '"' && before != '\'')
        return false;
    const std::size_t end = text.find_first_not_of("0123456789 ", at + 1);
    return end == npos || text[end] != ']';
}

bool contains(string_view text, string_view part) {
    return text.find(part) != npos;
}

// Whether the brace at `at` begins the body of a function without the word: `{ f() { ... } }`.
bool isBody(string_view text, std::size_t at) {
    if (lastOf(text, at) != ')') return false;
    std::size_t open = text.rfind(')', at);
    for (int depth = 1; depth > 0;) {
        if (open == 0) return true;
        --open;
        depth += text[open] == ')' ? 1 : text[open] == '(' ? -1 : 0;
    }
    while (open > 0 && isBlank(text[open - 1]))
        --open;
    std::size_t begin = open;
    while (begin > 0 && isOfWord(text[begin - 1]))
        --begin;
    const string_view word = text.substr(begin, open - begin);
    return word != "if" && word != "switch" && word != "catch";
}

// A pattern that repeats a group can take for ever to find that it does not fit.
bool hasSlowPattern(string_view text) {
    const bool repeats = contains(text, ")+") || contains(text, ")*") || contains(text, "){");
    if (!repeats) return false;
    for (const string_view user : {"test", "match", "replace", "search", "split", "exec", "RegExp"})
        if (contains(text, user)) return true;
    return false;
}

} // namespace

bool expressionEnds(string_view expression) {
    if (expression.size() > maxSize || hasSlowPattern(expression)) return false;
    // A function by arrow, a text that is put together, and letters by number.
    for (const string_view token : {"=>", "`", "\\u", "\\x"})
        if (contains(expression, token)) return false;
    std::size_t braces = 0;
    for (std::size_t at = 0; at < expression.size();) {
        if (expression[at] == '[' && isComputedMember(expression, at)) return false;
        if (expression[at] == '{' && (++braces > maxBraces || isBody(expression, at))) return false;
        if (!isOfWord(expression[at])) {
            ++at;
            continue;
        }
        const std::size_t begin = at;
        while (at < expression.size() && isOfWord(expression[at]))
            ++at;
        if (isRefused(expression.substr(begin, at - begin))) return false;
    }
    return true;
}

bool expressionGivesList(string_view expression) {
    constexpr string_view result = "$bm_rt";
    constexpr const char* blanks = " \t\r\n";
    for (std::size_t at = 0; (at = expression.find(result, at)) != npos;) {
        at = expression.find_first_not_of(blanks, at + result.size());
        if (at == npos) return true;
        if (expression[at] == ';' || expression[at] == ',') continue;
        if (expression[at] != '=') return false;
        at = expression.find_first_not_of(blanks, at + 1);
        if (at == npos) return true;
        const string_view value = expression.substr(at);
        bool isList = false;
        for (const string_view list : {"[", "loopIn(", "loopOut(", "wiggle(", "value;"})
            isList = isList || value.substr(0, list.size()) == list;
        if (!isList) return false;
    }
    return true;
}

} // namespace quol

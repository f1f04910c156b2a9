#include "graphics/CGTags.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace quol {

namespace {

using std::chrono::milliseconds;

constexpr std::string_view separator = "::";

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isWallFormat(char c) {
    return isLetter(c) || c == ':' || c == '-';
}

bool isCountFormat(char c) {
    return isLetter(c) || c == ':';
}

bool isCountValue(char c) {
    return (c >= '0' && c <= '9') || c == ':';
}

// End of the longest run of such characters from `begin` on.
template <typename Test>
std::size_t endOfRun(const std::string& text, std::size_t begin, Test test) {
    while (begin < text.size() && test(text[begin]))
        ++begin;
    return begin;
}

// Which of two keywords stands at `at`: 0, 1, or -1 for none. Each is followed by "::".
int keywordAt(const std::string& text, std::size_t at,
              const std::array<std::string_view, 2>& keywords) {
    for (std::size_t i = 0; i < keywords.size(); ++i) {
        const std::string_view word = keywords[i];
        if (text.compare(at, word.size(), word) == 0 &&
            text.compare(at + word.size(), separator.size(), separator) == 0)
            return static_cast<int>(i);
    }
    return -1;
}

// A tag in a text.
struct Match {
    std::size_t begin = 0;
    std::size_t end = 0;
    int keyword = 0;
    std::string format;
    std::string value; // of a counting tag
};

// (time|date)::([a-zA-Z:-]+)
bool findWallTag(const std::string& text, std::size_t from, Match& match) {
    constexpr std::array<std::string_view, 2> keywords{"time", "date"};
    for (std::size_t at = from; at < text.size(); ++at) {
        const int keyword = keywordAt(text, at, keywords);
        if (keyword < 0) continue;
        const std::size_t format =
            at + keywords[static_cast<std::size_t>(keyword)].size() + separator.size();
        const std::size_t end = endOfRun(text, format, isWallFormat);
        if (end == format) continue;
        match = {at, end, keyword, text.substr(format, end - format), ""};
        return true;
    }
    return false;
}

// A run of characters of counting formats, and the last place in it that a value follows. All
// keywords in a run share it: a text of nothing but keywords is looked through once.
struct FormatRun {
    std::size_t end = 0;
    std::size_t lastFormatEnd = 0; // 0 for none
};

FormatRun formatRunAt(const std::string& text, std::size_t begin) {
    FormatRun run{endOfRun(text, begin, isCountFormat), 0};
    for (std::size_t end = run.end; end > begin && run.lastFormatEnd == 0; --end) {
        const std::size_t value = end + separator.size();
        if (text.compare(end, separator.size(), separator) == 0 && value < text.size() &&
            isCountValue(text[value]))
            run.lastFormatEnd = end;
    }
    return run;
}

// (tUp|tDown)::([a-zA-Z:]+)::([0-9:]+). The format takes as much as it can and still leave "::" and
// a value behind it. `run` is kept from match to match.
bool findCountingTag(const std::string& text, std::size_t from, FormatRun& run, Match& match) {
    constexpr std::array<std::string_view, 2> keywords{"tUp", "tDown"};
    for (std::size_t at = from; at < text.size(); ++at) {
        const int keyword = keywordAt(text, at, keywords);
        if (keyword < 0) continue;
        const std::size_t format =
            at + keywords[static_cast<std::size_t>(keyword)].size() + separator.size();
        if (format >= run.end) run = formatRunAt(text, format);
        if (run.lastFormatEnd <= format) continue;
        const std::size_t end = run.lastFormatEnd;
        const std::size_t value = end + separator.size();
        const std::size_t stop = endOfRun(text, value, isCountValue);
        match = {at, stop, keyword, text.substr(format, end - format),
                 text.substr(value, stop - value)};
        return true;
    }
    return false;
}

// Replaces the texts of tags, each once; a text of more than `most` different ones keeps the rest.
class TagReplacer {
public:
    explicit TagReplacer(const std::string& text) : text_(text), result_(text) {}

    // False when no more can be replaced.
    template <typename Value>
    bool replace(const Match& match, Value value) {
        constexpr std::size_t most = 500;
        const std::string_view tag =
            std::string_view(text_).substr(match.begin, match.end - match.begin);
        if (seen_.count(tag) != 0) return true;
        if (seen_.size() == most) return false;
        seen_.insert(tag);
        replaceAll(result_, tag, value());
        return true;
    }

    const std::string& result() const { return result_; }

private:
    const std::string& text_;
    std::string result_;
    std::set<std::string_view> seen_; // within `text_`
};

std::string wallText(std::string format, std::chrono::system_clock::time_point now) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 7> tokens{{{"yyyy", "%Y"},
                                                                                   {"MM", "%m"},
                                                                                   {"dd", "%d"},
                                                                                   {"HH", "%H"},
                                                                                   {"hh", "%I"},
                                                                                   {"mm", "%M"},
                                                                                   {"ss", "%S"}}};
    for (const auto& [token, conversion] : tokens)
        replaceAll(format, token, conversion);
    const auto sinceEpoch = std::chrono::floor<milliseconds>(now.time_since_epoch());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const std::time_t whole = seconds.count();
    std::tm local{};
    localtime_r(&whole, &local);
    std::array<char, 100> buffer{};
    const std::size_t length = std::strftime(buffer.data(), buffer.size(), format.c_str(), &local);
    std::string text(buffer.data(), length);
    std::array<char, 8> hundredths{};
    std::snprintf(hundredths.data(), hundredths.size(), "%02d",
                  static_cast<int>((sinceEpoch - seconds).count() / 10));
    replaceAll(text, "ii", hundredths.data());
    return text;
}

std::vector<std::int64_t> pieces(const std::string& text) {
    std::vector<std::int64_t> numbers;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(':', begin), text.size());
        int number = 0; // also for a piece that is empty or too large
        const auto [stop, error] = std::from_chars(text.data() + begin, text.data() + end, number);
        numbers.push_back(error == std::errc() ? number : 0);
        begin = end + 1;
    }
    // A colon at the end ends the last piece, and begins none.
    if (!text.empty() && text.back() == ':') numbers.pop_back();
    return numbers;
}

bool contains(const std::string& text, std::string_view what) {
    return text.find(what) != std::string::npos;
}

} // namespace

std::string resolveWallClock(const std::string& text, std::chrono::system_clock::time_point now) {
    TagReplacer replacer(text);
    Match match;
    for (std::size_t from = 0; findWallTag(text, from, match); from = match.end) {
        if (!replacer.replace(match, [&] { return wallText(match.format, now); })) break;
    }
    return replacer.result();
}

std::int64_t countingTarget(const std::string& text) {
    const std::vector<std::int64_t> n = pieces(text);
    switch (n.size()) {
        case 4:
            return (n[0] * 3600 + n[1] * 60 + n[2]) * 1000 + n[3] * 10;
        case 3:
            return (n[0] * 60 + n[1]) * 1000 + n[2] * 10;
        case 2:
            return n[0] * 1000 + n[1] * 10;
        default:
            return 0;
    }
}

std::string countingText(const CountingTag& tag, std::int64_t elapsedMs) {
    const std::int64_t value = tag.up ? std::min(elapsedMs, tag.targetMs)
                                      : std::max<std::int64_t>(tag.targetMs - elapsedMs, 0);
    auto hours = static_cast<long long>(value / 3600000);
    auto minutes = static_cast<long long>(value % 3600000 / 60000);
    auto seconds = static_cast<long long>(value % 60000 / 1000);
    const auto hundredths = static_cast<long long>(value % 1000 / 10);
    if (!contains(tag.format, "HH") && !contains(tag.format, "hh")) {
        minutes += hours * 60;
        hours = 0;
    }
    if (!contains(tag.format, "mm")) {
        seconds += minutes * 60;
        minutes = 0;
    }
    std::array<char, 96> buffer{};
    const auto print = [&buffer](const char* format, auto... values) {
        std::snprintf(buffer.data(), buffer.size(), format, values...);
    };
    if (tag.format == "mm:ss:ii") {
        print("%02lld:%02lld:%02lld", minutes, seconds, hundredths);
    } else if (tag.format == "mm:ss") {
        print("%02lld:%02lld", minutes, seconds);
    } else if (tag.format == "ss:ii") {
        print("%02lld:%02lld", seconds, hundredths);
    } else if (tag.format == "ss") {
        print("%02lld", seconds);
    } else {
        print("%02lld:%02lld:%02lld:%02lld", hours, minutes, seconds, hundredths);
    }
    return buffer.data();
}

std::string TagClock::resolve(const std::string& itemId, const std::string& text,
                              const TagTime& now) {
    if (!contains(text, separator)) return text; // no tag is without
    return resolveCounting(itemId, resolveWallClock(text, now.wall), now.count);
}

std::string TagClock::resolveCounting(const std::string& itemId, const std::string& text,
                                      std::chrono::steady_clock::time_point now) {
    TagReplacer replacer(text);
    Match match;
    FormatRun run;
    for (std::size_t from = 0; findCountingTag(text, from, run, match); from = match.end) {
        const auto start = starts_.emplace(itemId, now).first->second;
        const auto elapsed = std::chrono::duration_cast<milliseconds>(now - start).count();
        const CountingTag tag{match.keyword == 0, match.format, countingTarget(match.value)};
        if (!replacer.replace(match, [&] { return countingText(tag, elapsed); })) break;
    }
    return replacer.result();
}

} // namespace quol

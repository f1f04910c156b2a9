#include "show_script.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <utility>

namespace show {

namespace {

constexpr int longestTransition = 250; // pictures
constexpr double longestReplay = 30.0; // seconds that it goes back
constexpr double slowestReplay = 0.1;

using Words = std::vector<std::string>;

bool isOneOf(const std::string& word, std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isSource(const std::string& word) {
    return isOneOf(word, {"camera1", "camera2", "bars"});
}

// Digits with at most one point among them.
std::optional<double> parseNumber(const std::string& text) {
    if (text.empty() || text.size() > 9 ||
        text.find_first_not_of("0123456789.") != std::string::npos)
        return std::nullopt;
    if (std::count(text.begin(), text.end(), '.') > 1 || text == ".") return std::nullopt;
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    double value = 0.0;
    stream >> value;
    return value;
}

bool readPictures(const std::string& word, Cue& cue) {
    const auto number = parseNumber(word);
    if (!number || *number < 1.0 || *number > longestTransition || std::floor(*number) != *number)
        return false;
    cue.pictures = static_cast<int>(*number);
    return true;
}

bool readSwitch(const std::string& word, const char* on, const char* off, Cue& cue) {
    cue.on = word == on;
    return cue.on || word == off;
}

bool readTransition(const Words& words, std::initializer_list<const char*> kinds, Cue& cue) {
    if (words.size() != 2 || !isOneOf(words[0], kinds)) return false;
    cue.word = words[0];
    return readPictures(words[1], cue);
}

bool readColour(const std::string& word, Cue& cue) {
    cue.word = word;
    return word.size() == 7 && word[0] == '#' &&
           std::all_of(word.begin() + 1, word.end(),
                       [](unsigned char letter) { return std::isxdigit(letter) != 0; });
}

bool readName(const Words& words, Cue& cue) {
    for (std::size_t i = 1; i < words.size(); ++i)
        cue.word += (i > 1 ? " " : "") + words[i];
    return !words.empty() && readSwitch(words[0], "in", "out", cue) && (cue.on || cue.word.empty());
}

bool readReplay(const Words& words, Cue& cue) {
    if (words.size() != 2) return false;
    const auto last = parseNumber(words[0]);
    const auto speed = parseNumber(words[1]);
    cue.last = last.value_or(0.0);
    cue.speed = speed.value_or(0.0);
    return cue.last > 0.0 && cue.last <= longestReplay && cue.speed >= slowestReplay &&
           cue.speed <= 1.0;
}

// A command, how it is written, and how its words behind the name are read.
struct Command {
    const char* name;
    Verb verb;
    const char* use;
    std::function<bool(const Words&, Cue&)> read;
};

bool hasNone(const Words& words, Cue& /*cue*/) {
    return words.empty();
}

template <typename Read>
std::function<bool(const Words&, Cue&)> oneWord(Read read) {
    return
        [read](const Words& words, Cue& cue) { return words.size() == 1 && read(words[0], cue); };
}

bool readFourWays(const Words& words, Cue& cue) {
    return readTransition(words, {"lr", "rl", "tb", "bt"}, cue);
}

const std::vector<Command>& commands() {
    static const std::vector<Command> table{
        {"opening", Verb::opening, "opening in|out", oneWord([](const std::string& word, Cue& cue) {
             return readSwitch(word, "in", "out", cue);
         })},
        {"next", Verb::next, "next camera1|camera2|bars",
         oneWord([](const std::string& word, Cue& cue) {
             cue.word = word;
             return isSource(word);
         })},
        {"cut", Verb::cut, "cut", hasNone},
        {"fade", Verb::fade, "fade PICTURES", oneWord(readPictures)},
        {"dip", Verb::dip, "dip #RRGGBB PICTURES",
         [](const Words& words, Cue& cue) {
             return words.size() == 2 && readColour(words[0], cue) && readPictures(words[1], cue);
         }},
        {"wipe", Verb::wipe, "wipe lr|rl|tb|bt|diagonal|box|circle PICTURES",
         [](const Words& words, Cue& cue) {
             return readTransition(words, {"lr", "rl", "tb", "bt", "diagonal", "box", "circle"},
                                   cue);
         }},
        {"slide", Verb::slide, "slide lr|rl|tb|bt PICTURES", readFourWays},
        {"squeeze", Verb::squeeze, "squeeze lr|rl|tb|bt PICTURES", readFourWays},
        {"stinger", Verb::stinger, "stinger", hasNone},
        {"lowerthird", Verb::lowerthird, "lowerthird in [NAME] | lowerthird out", readName},
        {"crawl", Verb::crawl, "crawl on|off", oneWord([](const std::string& word, Cue& cue) {
             return readSwitch(word, "on", "off", cue);
         })},
        {"logo", Verb::logo, "logo on|off", oneWord([](const std::string& word, Cue& cue) {
             return readSwitch(word, "on", "off", cue);
         })},
        {"inset", Verb::inset, "inset camera1|camera2|bars|off",
         oneWord([](const std::string& word, Cue& cue) {
             cue.on = isSource(word);
             cue.word = cue.on ? word : "";
             return cue.on || word == "off";
         })},
        {"replay", Verb::replay, "replay SECONDS SPEED, at most 30 and from 0.1 to 1", readReplay},
        {"live", Verb::live, "live on|off", oneWord([](const std::string& word, Cue& cue) {
             return readSwitch(word, "on", "off", cue);
         })},
        {"shot", Verb::shot, "shot FILE.png", oneWord([](const std::string& word, Cue& cue) {
             cue.word = word;
             return true;
         })},
        {"end", Verb::end, "end", hasNone},
    };
    return table;
}

// A colour begins with the sign of a remark, too.
bool beginsRemark(const std::string& word, bool isFirst) {
    Cue scratch;
    return word[0] == '#' && (isFirst || !readColour(word, scratch));
}

Words wordsOf(const std::string& line) {
    Words words;
    std::istringstream stream(line);
    for (std::string word; stream >> word && !beginsRemark(word, words.empty());)
        words.push_back(word);
    return words;
}

std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// What is wrong with a line, or nothing and its cue.
std::string readLine(const Words& words, Cue& cue) {
    cue.seconds = parseTime(words[0]);
    cue.text = joined(words);
    if (cue.seconds < 0.0) return "\"" + words[0] + "\" is no time, as 00:05.0 is";
    if (words.size() < 2) return "a time and nothing to do";
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [&](const Command& known) { return words[1] == known.name; });
    if (command == commands().end()) return "no command \"" + words[1] + "\"";
    cue.verb = command->verb;
    if (!command->read(Words(words.begin() + 2, words.end()), cue))
        return std::string("use: ") + command->use;
    return "";
}

bool movesLayers(Verb verb) {
    return verb == Verb::next || isTransition(verb);
}

// Whether a line fits behind those before it.
class Order {
public:
    std::string check(const Cue& cue) {
        std::string error = complaint(cue);
        if (!error.empty()) return error;
        latest_ = cue.seconds;
        if (cue.verb == Verb::end) ended_ = cue.line;
        if (movesLayers(cue.verb)) transition_ = {cue.line, cue.seconds + lengthOf(cue)};
        if (cue.verb == Verb::replay) replay_ = {cue.line, cue.seconds + lengthOf(cue)};
        return "";
    }
    bool hasEnd() const { return ended_ > 0; }

private:
    struct Running {
        int line = 0;
        double until = 0.0;
    };

    std::string complaint(const Cue& cue) const {
        constexpr double rounding = 1e-6;
        if (ended_ > 0) return "the show has ended in line " + std::to_string(ended_);
        if (cue.seconds < latest_) return "earlier than the line before";
        if (movesLayers(cue.verb) && cue.seconds < transition_.until - rounding)
            return "the transition of line " + std::to_string(transition_.line) + " still runs";
        if (cue.verb != Verb::replay) return "";
        if (cue.seconds < replay_.until - rounding)
            return "the replay of line " + std::to_string(replay_.line) + " still runs";
        return cue.last > cue.seconds ? "a replay of more than there was" : "";
    }

    double latest_ = 0.0;
    int ended_ = 0;
    Running transition_;
    Running replay_;
};

} // namespace

bool isTransition(Verb verb) {
    switch (verb) {
        case Verb::cut:
        case Verb::fade:
        case Verb::dip:
        case Verb::wipe:
        case Verb::slide:
        case Verb::squeeze:
        case Verb::stinger:
            return true;
        default:
            return false;
    }
}

double parseTime(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon > 3) return -1.0;
    const std::string minutes = text.substr(0, colon);
    if (minutes.find('.') != std::string::npos) return -1.0;
    const auto whole = parseNumber(minutes);
    const auto seconds = parseNumber(text.substr(colon + 1));
    const bool isPlain = std::isdigit(static_cast<unsigned char>(text[colon + 1])) != 0;
    if (!whole || !seconds || !isPlain || *seconds >= 60.0) return -1.0;
    return *whole * 60.0 + *seconds;
}

double lengthOf(const Cue& cue) {
    if (cue.verb == Verb::stinger) return stingerSeconds;
    if (cue.verb == Verb::replay) return cue.last / cue.speed;
    return static_cast<double>(cue.pictures) / picturesPerSecond;
}

double bestSeenAfter(const Cue& cue) {
    switch (cue.verb) {
        case Verb::opening:
            return cue.on ? 2.0 : 0.4;
        case Verb::cut:
            return 0.2;
        case Verb::fade:
        case Verb::wipe:
        case Verb::slide:
        case Verb::squeeze:
        case Verb::replay:
            return lengthOf(cue) / 2.0;
        case Verb::dip: // in the middle there is nothing but its colour
        case Verb::stinger:
            return lengthOf(cue) * 0.3;
        case Verb::logo:
            return cue.on ? 0.4 : -1.0;
        case Verb::lowerthird:
        case Verb::inset:
            return cue.on ? 1.0 : -1.0;
        case Verb::crawl:
            return cue.on ? 3.0 : -1.0;
        default:
            return -1.0;
    }
}

Script readScript(std::istream& stream, const std::string& name) {
    Script script;
    Order order;
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        Cue cue;
        cue.line = ++number;
        const Words words = wordsOf(line);
        if (words.empty()) continue;
        std::string error = readLine(words, cue);
        if (error.empty()) error = order.check(cue);
        if (error.empty()) {
            script.cues.push_back(std::move(cue));
        } else {
            script.errors.push_back(name + ":" + std::to_string(number) + ": " + error);
        }
    }
    if (script.errors.empty() && !order.hasEnd())
        script.errors.push_back(name + ":" + std::to_string(number) + ": the show has no end");
    if (!script.errors.empty()) script.cues.clear();
    return script;
}

} // namespace show

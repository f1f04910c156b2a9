// How every setProps reads its values.
#pragma once

#include <map>
#include <sstream>
#include <string>

namespace quol {

// True for exactly "true" and exactly "1"; every other text is false.
inline bool parseBool(const std::string& value) {
    return value == "true" || value == "1";
}

// A leading number counts and what follows it is ignored. No leading number raises
// std::invalid_argument, one out of range std::out_of_range; the texts are "stoi", "stod" and
// "stof". They reach the host: a setting that cannot be read must not pass for one that was made.
inline int parseInt(const std::string& value) {
    return std::stoi(value);
}
inline float parseFloat(const std::string& value) {
    return std::stof(value);
}
inline double parseDouble(const std::string& value) {
    return std::stod(value);
}

// A list of encoder options, "key=value key=value": words split at blanks and cut at their first
// "="; a word without one gets the value "1", and a later key replaces an equal one.
inline std::map<std::string, std::string> parseOptionList(const std::string& text) {
    std::map<std::string, std::string> options;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ' ');) {
        if (word.empty()) continue;
        const std::size_t equals = word.find('=');
        options[word.substr(0, equals)] =
            equals == std::string::npos ? "1" : word.substr(equals + 1);
    }
    return options;
}

} // namespace quol

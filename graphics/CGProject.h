// Scenes as text files. The format looks like XML, but is written and read line by line, and
// nothing is escaped: what a text holds of "<" or line feeds is lost on reading.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "quolsdk/LCGItems.h"

namespace quol {

// An item as a file tells it.
struct ProjectItem {
    std::string type; // "text", "crawl", "ticker", "rect", "image", "video", or anything
    std::string id;
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;
    int alpha = 255;
    bool show = true;
    std::string group;                         // name of its group; "" for none
    std::map<std::string, std::string> values; // of all other tags

    // The value of a tag; "" where there is none.
    std::string value(const std::string& tag) const;
};

// Calls `found` with each item, in the order of the file.
// Raises std::invalid_argument and std::out_of_range ("stoi") for a number that is none; the items
// before have been told by then.
void readProject(std::istream& file, const std::function<void(const ProjectItem&)>& found);

// Overwrites the fields of an item's record that its class reads. Raises what std::stoi and
// std::stof raise.
void applyValues(const ProjectItem& parsed, LCGItem& item);

// Writes groups with their items, in name order, then the items that have none.
void writeProject(std::ostream& file, const std::vector<std::unique_ptr<LCGItem>>& items,
                  const std::map<std::string, std::unique_ptr<LCGGroup>>& groups);

// "#RRGGBB", the low 24 bits.
std::string colorText(std::uint32_t color);

} // namespace quol

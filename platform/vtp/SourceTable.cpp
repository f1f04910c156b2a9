#include "platform/vtp/SourceTable.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <tuple>

namespace quol::vtp {

namespace {

// "Name (2)" and so on, the first that is free from `number` on, which is moved behind it.
std::string numberedName(const std::string& name, const std::set<std::string>& taken, int& number) {
    while (true) {
        const std::string suffix = " (" + std::to_string(number++) + ")";
        const std::string numbered = shownName(name, maxNameBytes - suffix.size()) + suffix;
        if (!taken.contains(numbered)) return numbered;
    }
}

void copyText(char* to, std::size_t capacity, const std::string& text) {
    std::memcpy(to, text.data(), std::min(text.size(), capacity - 1));
}

} // namespace

bool isLoopback(Address address) {
    return address >> 24 == 127;
}

bool mayComeThrough(Address from, bool isInterface) {
    return isLoopback(from) != isInterface;
}

std::string addressText(Address address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 0xff);
        if (shift > 0) text += '.';
    }
    return text;
}

void SourceTable::hear(const Announcement& announcement, Address from, Clock::time_point now) {
    const auto known = std::find_if(sources_.begin(), sources_.end(), [&](const Source& source) {
        return source.announcement.instance == announcement.instance;
    });
    if (known == sources_.end()) {
        if (!announcement.isGone) add(announcement, from, now);
        return;
    }
    // Whoever else claims to be a sender does not move or end it, nor keep it.
    const bool isNearer = isLoopback(from) && !isLoopback(known->address);
    if (known->address != from && !isNearer) return;
    if (announcement.isGone) {
        sources_.erase(known);
        return;
    }
    known->announcement = announcement;
    known->address = from;
    known->heard = now;
}

void SourceTable::add(const Announcement& announcement, Address from, Clock::time_point now) {
    // A port has one owner at a time: who had it before is gone.
    std::erase_if(sources_, [&](const Source& source) {
        return source.address == from && source.announcement.port == announcement.port;
    });
    if (sources_.size() >= maxSources) return;
    if (!isLoopback(from)) {
        const auto count = [this](auto which) {
            return static_cast<std::size_t>(std::count_if(sources_.begin(), sources_.end(), which));
        };
        const auto isOfHost = [from](const Source& source) { return source.address == from; };
        const auto isForeign = [](const Source& source) { return !isLoopback(source.address); };
        if (count(isOfHost) >= maxSourcesPerHost || count(isForeign) >= maxForeignSources) return;
    }
    sources_.push_back({announcement, from, now});
}

void SourceTable::forget(Clock::time_point now) {
    std::erase_if(sources_,
                  [now](const Source& source) { return now - source.heard > forgetTime; });
}

std::vector<vtp_source_record> SourceTable::records(std::size_t maximum) const {
    std::vector<const Source*> ordered;
    for (const Source& source : sources_)
        ordered.push_back(&source);
    std::stable_partition(ordered.begin(), ordered.end(),
                          [](const Source* source) { return isLoopback(source->address); });
    ordered.resize(std::min(ordered.size(), maximum));
    // Where they lie is the order they were first heard in.
    std::sort(ordered.begin(), ordered.end(), [](const Source* a, const Source* b) {
        return std::tie(a->announcement.name, a) < std::tie(b->announcement.name, b);
    });

    // A name that a sender has itself is not taken from it by one with a number.
    std::set<std::string> taken;
    for (const Source* source : ordered)
        taken.insert(source->announcement.name);
    std::vector<vtp_source_record> records;
    const std::string* last = nullptr;
    int number = 2; // for the next of the same name
    for (const Source* source : ordered) {
        const std::string& name = source->announcement.name;
        const bool clashes = last != nullptr && *last == name;
        last = &name;
        if (!clashes) number = 2;
        const std::string shown = clashes ? numberedName(name, taken, number) : name;
        taken.insert(shown);
        vtp_source_record record{};
        copyText(record.name, sizeof record.name, shown);
        copyText(record.host, sizeof record.host, addressText(source->address));
        record.port = source->announcement.port;
        records.push_back(record);
    }
    return records;
}

} // namespace quol::vtp

// The senders that a listener has heard of lately.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/vtp/Announcement.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/vtp.h"

namespace quol::vtp {

// An IPv4 address in the byte order of this machine.
using Address = std::uint32_t;

bool isLoopback(Address address);

// Whether a datagram from there may have come that way: within this machine, or through an
// interface. Nobody outside speaks for this machine.
bool mayComeThrough(Address from, bool isInterface);

std::string addressText(Address address);

// A plain table: it knows no clock, the times come with the calls. Not for several threads at once.
class SourceTable {
public:
    // An announcement that came from `from`. One sender heard from its own machine and from a
    // network is one source, reached within the machine; else the way it was heard of first counts
    // as long as it lasts. What would pass the limits is passed over.
    void hear(const Announcement& announcement, Address from, Clock::time_point now);

    // Drops who was not heard of for too long.
    void forget(Clock::time_point now);

    void clear() { sources_.clear(); }

    // In the order of names; equal names in the order they were first heard in. Of more than
    // `maximum`, those of this machine come before others, whatever their names, and then who was
    // heard first.
    std::vector<vtp_source_record> records(std::size_t maximum = maxSources) const;

private:
    struct Source {
        Announcement announcement;
        Address address;
        Clock::time_point heard;
    };

    void add(const Announcement& announcement, Address from, Clock::time_point now);

    std::vector<Source> sources_; // in the order they were first heard in
};

} // namespace quol::vtp

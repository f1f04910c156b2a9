// Objects that come and go while the programme is on air.
#pragma once

#include <memory>

namespace soak {

class Random;
struct Studio;

// A small graph of its own, fed by the studio's sources. Its destructor takes it apart.
class Spare {
public:
    virtual ~Spare() = default;
};

// One of the kinds that there are, by chance. Keeps to the studio's sources, which outlive it.
std::unique_ptr<Spare> makeSpare(Studio& studio, Random& random);

} // namespace soak

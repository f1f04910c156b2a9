// How far behind its time something is, and how far it would be if nothing had waited.
#pragma once

#include <algorithm>

namespace soak {

// What is behind its time now and was less so before has lost the difference; what was waited for
// meanwhile is not its own fault, and neither is what is still to be made up of that. So the own
// part is a queue's: it grows by what was lost, less what was waited for, it cannot be below
// nothing nor above the whole.
class Lateness {
public:
    // Seconds behind its time, and those in which something had to wait since the last call.
    void add(double behind, double waited) {
        own_ = std::clamp(own_ + behind - behind_ - waited, 0.0, std::max(behind, 0.0));
        behind_ = behind;
    }
    double behind() const { return behind_; }
    double own() const { return own_; }

private:
    double behind_ = 0.0;
    double own_ = 0.0;
};

} // namespace soak

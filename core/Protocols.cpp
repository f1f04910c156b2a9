#include "core/Protocols.h"

namespace quol {

// RIST's library logs for all of the process to the first stream that it opened there, also when
// that one is gone: the next stream would crash. What matters is told by the result of the calls.
void completeProtocolOptions(const std::string& address, Dictionary& options) {
    const bool isRist = address.starts_with("rist://");
    if (isRist && options.find("log_level") == nullptr) options.set("log_level", "-1");
}

} // namespace quol

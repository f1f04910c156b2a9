// Where a stream goes.
#pragma once

#include <string>

namespace quol {

// The URL with the key behind it, a "/" between them; the URL alone without a key.
std::string streamAddress(const std::string& url, const std::string& key);

// The name of the muxer that an address asks for: FLV for "rtmp://", else what the ending says,
// else what is usual for the protocol. Empty without one.
std::string streamMuxer(const std::string& address);

// Whether the address is one of the file system.
bool isLocalFile(const std::string& address);

} // namespace quol

// How two ends show each other that they know a secret, without telling it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace quol::vtp {

using Digest = std::array<std::uint8_t, 32>;

// An IPv4 address, in the byte order of this machine, and a TCP port.
struct Endpoint {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
};

// The two ends of a connection, which both see alike as long as nobody sits between them.
struct Ends {
    Endpoint sender;
    Endpoint receiver;
};

// Random bytes nobody can foretell; false when the system has none.
bool makeNonce(Digest& nonce);

// What the receiver and the sender answer to each other's nonces. It holds for this connection
// alone: who passes it on through a connection of his own proves nothing. Zeros when memory is
// short, which nobody accepts.
Digest receiverProof(const std::string& secret, const Digest& senderNonce,
                     const Digest& receiverNonce, const Ends& ends);
Digest senderProof(const std::string& secret, const Digest& senderNonce,
                   const Digest& receiverNonce, const Ends& ends);

// Takes as long wherever the two differ. A proof of zeros is never the same as another.
bool isSameProof(const Digest& expected, const Digest& given);

} // namespace quol::vtp

// How two ends show each other that they know a secret, without telling it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace quol::vtp {

using Digest = std::array<std::uint8_t, 32>;

// Random bytes nobody can foretell; false when the system has none.
bool makeNonce(Digest& nonce);

// What the receiver and the sender answer to each other's nonces. Zeros when memory is short, which
// nobody accepts.
Digest receiverProof(const std::string& secret, const Digest& senderNonce,
                     const Digest& receiverNonce);
Digest senderProof(const std::string& secret, const Digest& senderNonce,
                   const Digest& receiverNonce);

// Takes as long wherever the two differ. A proof of zeros is never the same as another.
bool isSameProof(const Digest& expected, const Digest& given);

} // namespace quol::vtp

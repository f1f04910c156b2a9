#include "platform/vtp/Secret.h"

#include <sys/random.h>

#include <memory>
#include <string_view>

#include "platform/vtp/Bytes.h"

extern "C" {
#include <libavutil/hmac.h>
}

namespace quol::vtp {

namespace {

struct HmacDeleter {
    void operator()(AVHMAC* hmac) const noexcept { av_hmac_free(hmac); }
};

std::array<std::uint8_t, 12> endsInBytes(const Ends& ends) {
    std::array<std::uint8_t, 12> bytes{};
    putNumber(&bytes[0], ends.sender.address);
    putNumber(&bytes[4], ends.sender.port);
    putNumber(&bytes[6], ends.receiver.address);
    putNumber(&bytes[10], ends.receiver.port);
    return bytes;
}

Digest proof(const std::string& secret, std::string_view role, const Digest& senderNonce,
             const Digest& receiverNonce, const Ends& ends) {
    Digest digest{};
    const std::unique_ptr<AVHMAC, HmacDeleter> hmac(av_hmac_alloc(AV_HMAC_SHA256));
    if (!hmac) return digest;
    const auto bytes = [](const auto& text) {
        return reinterpret_cast<const std::uint8_t*>(text.data());
    };
    av_hmac_init(hmac.get(), bytes(secret), static_cast<unsigned>(secret.size()));
    av_hmac_update(hmac.get(), bytes(role), static_cast<unsigned>(role.size()));
    av_hmac_update(hmac.get(), senderNonce.data(), static_cast<unsigned>(senderNonce.size()));
    av_hmac_update(hmac.get(), receiverNonce.data(), static_cast<unsigned>(receiverNonce.size()));
    const auto where = endsInBytes(ends);
    av_hmac_update(hmac.get(), where.data(), static_cast<unsigned>(where.size()));
    av_hmac_final(hmac.get(), digest.data(), static_cast<unsigned>(digest.size()));
    return digest;
}

} // namespace

bool makeNonce(Digest& nonce) {
    return getrandom(nonce.data(), nonce.size(), 0) == static_cast<ssize_t>(nonce.size());
}

Digest receiverProof(const std::string& secret, const Digest& senderNonce,
                     const Digest& receiverNonce, const Ends& ends) {
    return proof(secret, "vtp receiver", senderNonce, receiverNonce, ends);
}

Digest senderProof(const std::string& secret, const Digest& senderNonce,
                   const Digest& receiverNonce, const Ends& ends) {
    return proof(secret, "vtp sender", senderNonce, receiverNonce, ends);
}

bool isSameProof(const Digest& expected, const Digest& given) {
    std::uint8_t difference = 0;
    std::uint8_t any = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        difference = static_cast<std::uint8_t>(difference | (expected[i] ^ given[i]));
        any = static_cast<std::uint8_t>(any | expected[i]);
    }
    return difference == 0 && any != 0;
}

} // namespace quol::vtp

// What a DeckLink card's driver calls.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/decklink/ComRef.h"

namespace quol {

class LiveDeckLink;

// Stands between the driver, which may call late, and a run, which ends. Counted, since the driver
// keeps references of its own.
class DeckLinkInputCallback final : public decklink::IDeckLinkInputCallback {
public:
    static decklink::ComRef<DeckLinkInputCallback> make();

    // Calls go to this run from now on.
    void attach(std::shared_ptr<LiveDeckLink> parent);

    // Waits for the calls in progress, but not for longer than the limit; whether they have ended
    // or not, calls that come later find nobody. What is still inside behind the limit is not
    // waited for again, except by `close`.
    void detach(std::chrono::milliseconds limit);

    // Finds nobody from now on, and waits for the calls in progress however long they take: what
    // they use is about to go.
    void close();

    decklink::HRESULT QueryInterface(decklink::REFIID id, void** object) override;
    decklink::ULONG AddRef() override;
    decklink::ULONG Release() override;
    decklink::HRESULT VideoInputFormatChanged(std::uint32_t events,
                                              decklink::IDeckLinkDisplayMode* mode,
                                              std::uint32_t flags) override;
    decklink::HRESULT VideoInputFrameArrived(decklink::IDeckLinkVideoInputFrame* frame,
                                             decklink::IDeckLinkAudioInputPacket* sound) override;

private:
    // One call of the driver: counts as active while it stands.
    class Call;

    DeckLinkInputCallback() = default;
    ~DeckLinkInputCallback() override = default;

    std::atomic<std::int32_t> references_{1};
    std::mutex mutex_; // guards all below: hosts and the driver
    std::condition_variable left_;
    std::shared_ptr<LiveDeckLink> parent_; // null when detached
    std::uint64_t detaches_ = 0;           // how often there was one
    int active_ = 0;                       // calls in progress since the latest detach
    int late_ = 0;                         // calls in progress that a detach has given up
};

} // namespace quol

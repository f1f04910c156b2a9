// Pictures and sound from a DeckLink card.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/decklink/Cards.h"
#include "sources/LiveHub.h"

namespace quol {

// One picture on its way from the driver's thread to the loop.
struct DeckLinkFrameItem {
    decklink::ComRef<decklink::IDeckLinkVideoInputFrame> frame;
    double arrived = 0.0; // seconds since the start
};

class LiveDeckLink : public LiveRun {
public:
    // Most pictures that wait for the loop: each one pins a buffer of the driver's.
    static constexpr std::size_t maxQueuedFrames = 30;
    // Whether one reference to the buffer of each picture that is handed on in the driver's memory
    // is never given back. That is the contract; what a driver makes of it, and whether it does
    // without, only hardware can show.
    static constexpr bool keepsBufferReference = true;

    LiveDeckLink(LiveHub& hub, decklink::Card card,
                 decklink::ComRef<decklink::IDeckLinkInput> input, int formatIndex)
        : hub_(hub), card_(std::move(card)), input_(std::move(input)), formatIndex_(formatIndex) {}

    // The code of the mode a card is started in; that of 1080p50 for null.
    static std::uint32_t modeCode(decklink::IDeckLinkDisplayMode* mode);

    // Sets the card up and starts its streams; `mode` may be null. False, and one message, when the
    // card refuses: nothing is undone then.
    bool start(decklink::IDeckLinkDisplayMode* mode, decklink::IDeckLinkInputCallback* callback);

    void run() override { decklinkLoop(); }
    // Stops the card.
    void end() override;
    // Stops it again where a change of format was being followed meanwhile.
    void settle() override;

    // On the driver's thread. Either argument of the second may be null.
    // The first holds no lock while it works on the card: a stop does not wait for it.
    void formatChanged(decklink::IDeckLinkDisplayMode& mode, std::uint32_t flags);
    void frameArrived(decklink::IDeckLinkVideoInputFrame* frame,
                      decklink::IDeckLinkAudioInputPacket* sound);

private:
    struct MappedPicture;
    static void decklink_frame_free_cb(void* opaque, std::uint8_t* data);

    void restart(std::uint32_t mode, std::uint32_t pixelFormat);
    bool runs() const { return hub_.state.running && !ended_; }
    void readTimecode(decklink::IDeckLinkVideoInputFrame& frame);
    void reportDrops(decklink::IDeckLinkVideoInputFrame& frame);
    void queue(DeckLinkFrameItem item);
    void takeAudio(decklink::IDeckLinkAudioInputPacket& sound, double arrived);

    void decklinkLoop();
    DeckLinkFrameItem nextItem();
    void showNoSignal(const DeckLinkFrameItem& item);
    void showSignal(const DeckLinkFrameItem& item);
    FramePtr pictureOf(const DeckLinkFrameItem& item);
    FramePtr unpacked(const MappedPicture& mapped, int width, int height);

    LiveHub& hub_;
    const decklink::Card card_;
    const decklink::ComRef<decklink::IDeckLinkInput> input_;
    const int formatIndex_; // 0 follows the signal, others follow its colours alone
    std::atomic<bool> ended_{false};

    std::mutex modeMutex_; // guards the next three: the start, the driver, the end
    std::uint32_t activeMode_ = 0;
    std::uint32_t activePixelFormat_ = 0; // as the driver was told by a change of format
    bool overtaken_ = false; // the end came while a change of format worked on the card
    bool changing_ = false;  // a change of format works on the card

    std::int64_t lastStreamTime_ = -1; // the driver's thread alone

    std::mutex queueMutex_; // guards `queue_`: the driver fills, the loop takes
    std::condition_variable queueChanged_;
    std::deque<DeckLinkFrameItem> queue_;

    // The loop's alone.
    FramePtr noSignal_; // the NO SIGNAL card while there is no signal
    Scaler scaler_;
    PicturePool pool_;
    PicturePool unpackedPool_;
};

} // namespace quol

// Pictures and sound from a VTP sender.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/vtp/vtp.h"
#include "sources/LiveHub.h"

namespace quol {

// The VTP senders that this machine hears of. Any thread.
class VtpListener {
public:
    static constexpr int maxSources = 64;

    VtpListener();
    VtpListener(const VtpListener&) = delete;
    VtpListener& operator=(const VtpListener&) = delete;
    ~VtpListener();

    // Listens where `network` says from now on; what is known is forgotten. Nothing happens when it
    // says so already.
    void setNetwork(const vtp_network& network);
    vtp_network network() const;

    std::vector<vtp_source_record> sources() const;

private:
    vtp_listener* const listener_; // may be null
    mutable std::mutex mutex_;     // guards `network_`, and one change of it at a time
    vtp_network network_;
};

// A sender as hosts are shown it: "name (host:port)".
std::string vtpSourceText(const vtp_source_record& record);

// The sender that a channel stood for when its text was shown: the same one; else the one of its
// name and host, which has come back with another port; else whichever stands at the channel now.
// Null for none.
const vtp_source_record* chooseVtpSource(const std::vector<vtp_source_record>& records,
                                         const std::string& text, int channel);

class LiveVtp : public LiveRun {
public:
    // `source` is the text of the channel chosen; `known` is false when it is none of the sources.
    LiveVtp(LiveHub& hub, std::shared_ptr<VtpListener> listener, int channel, bool known,
            std::string source)
        : hub_(hub),
          listener_(std::move(listener)),
          channel_(channel),
          known_(known),
          source_(std::move(source)) {}
    void run() override { vtpLoop(); }
    void end() override;

private:
    void vtpLoop();
    void connect();
    std::thread startAudio();
    void audioLoop();
    void takeVideo(const vtp_video_frame& record);
    void takeAudio(const vtp_audio_frame& record);

    LiveHub& hub_;
    const std::shared_ptr<VtpListener> listener_;
    const int channel_;
    const bool known_;
    const std::string source_;
    std::mutex receiverMutex_; // guards the next three: the loop and `end`
    std::condition_variable connectTried_;
    bool connecting_ = false;          // the loop is in the call that connects
    bool cancelled_ = false;           // nobody wants a connection any more
    vtp_receiver* receiver_ = nullptr; // made and ended by the loop under the mutex
    // The loop's alone.
    Scaler scaler_;
    PicturePool pool_;
    PicturePool sourcePool_;
};

} // namespace quol

// Codes a sender's pictures aside of the thread that sends them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/vtp/Block.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/PictureCoder.h"

namespace quol::vtp {

// The thread starts with the first picture. One picture waits at most: where coding is slower than
// the pictures come, the newest replaces it. `stop` and `submit` may meet; stops may not.
class CodingThread {
public:
    // `deliver` is called on the thread, with the header of a coded picture and its payload.
    using Deliver = std::function<void(const MessageHeader&, BlockPtr)>;

    // For so many pictures a second as the receivers were told, 0 where that is not known.
    CodingThread(std::uint32_t pictureRate, Deliver deliver)
        : pictureRate_(pictureRate), deliver_(std::move(deliver)) {}
    CodingThread(const CodingThread&) = delete;
    CodingThread& operator=(const CodingThread&) = delete;
    ~CodingThread() { stop(); }

    // The header is that of the plain picture. `quality` as in vtp_sender_set_scale_quality.
    void submit(const MessageHeader& header, SharedBlock picture, int quality);

    // Ends the thread when the picture that waits is delivered; the next one starts another.
    void stop();

private:
    struct Work {
        MessageHeader header;
        SharedBlock picture;
        int quality = 0;
    };

    void run();
    void code(PictureEncoder& encoder, const Work& work);

    const std::uint32_t pictureRate_;
    const Deliver deliver_;
    BlockPool pool_;
    std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    std::thread thread_;
    std::optional<Work> waiting_;
    bool ending_ = false;
};

} // namespace quol::vtp

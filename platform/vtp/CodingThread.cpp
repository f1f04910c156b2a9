#include "platform/vtp/CodingThread.h"

#include <new>
#include <system_error>
#include <utility>

namespace quol::vtp {

void CodingThread::submit(const MessageHeader& header, SharedBlock picture, int quality) {
    const std::lock_guard lock(mutex_);
    if (ending_) return;
    waiting_ = Work{header, std::move(picture), quality};
    if (!thread_.joinable()) {
        try {
            thread_ = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            waiting_.reset(); // tried again with the next picture
        } catch (const std::bad_alloc&) {
            waiting_.reset();
        }
    }
    changed_.notify_one();
}

void CodingThread::stop() {
    std::thread ended;
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        ended = std::move(thread_);
    }
    changed_.notify_one();
    if (ended.joinable()) ended.join();
    const std::lock_guard lock(mutex_);
    ending_ = false;
}

void CodingThread::run() {
    PictureEncoder encoder(CodingBudget::bytesAt(pictureRate_));
    while (true) {
        Work work;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return ending_ || waiting_; });
            if (!waiting_) return;
            work = std::move(*waiting_);
            waiting_.reset();
        }
        try {
            code(encoder, work);
        } catch (const std::bad_alloc&) {
            // A picture less.
        }
    }
}

void CodingThread::code(PictureEncoder& encoder, const Work& work) {
    MessageHeader header = work.header;
    BlockPtr coded = encoder.encode(work.picture->data(), header.width, header.height,
                                    header.pixelFormat, work.quality, pool_);
    if (!coded) return;
    header.coding = codingStrips;
    header.payloadBytes = static_cast<std::uint32_t>(coded->size());
    deliver_(header, std::move(coded));
}

} // namespace quol::vtp

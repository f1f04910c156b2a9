#include "sources/DeckLinkInputCallback.h"

#include <utility>

#include "sources/LiveDeckLink.h"

namespace quol {

using namespace decklink;

class DeckLinkInputCallback::Call {
public:
    explicit Call(DeckLinkInputCallback& callback) : callback_(callback) {
        const std::lock_guard lock(callback_.mutex_);
        ++callback_.active_;
        detaches_ = callback_.detaches_;
        parent_ = callback_.parent_;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
        parent_.reset();
        const std::lock_guard lock(callback_.mutex_);
        --(detaches_ == callback_.detaches_ ? callback_.active_ : callback_.late_);
        callback_.left_.notify_all();
    }

    LiveDeckLink* parent() const { return parent_.get(); }

private:
    DeckLinkInputCallback& callback_;
    std::uint64_t detaches_ = 0; // when the call came in
    std::shared_ptr<LiveDeckLink> parent_;
};

ComRef<DeckLinkInputCallback> DeckLinkInputCallback::make() {
    return ComRef<DeckLinkInputCallback>::adopt(new DeckLinkInputCallback);
}

void DeckLinkInputCallback::attach(std::shared_ptr<LiveDeckLink> parent) {
    const std::lock_guard lock(mutex_);
    parent_.swap(parent);
}

void DeckLinkInputCallback::detach(std::chrono::milliseconds limit) {
    std::shared_ptr<LiveDeckLink> parent;
    std::unique_lock lock(mutex_);
    left_.wait_for(lock, limit, [this] { return active_ < 1; });
    parent.swap(parent_);
    late_ += std::exchange(active_, 0);
    ++detaches_;
    lock.unlock();
}

void DeckLinkInputCallback::close() {
    detach(std::chrono::milliseconds(0));
    std::unique_lock lock(mutex_);
    left_.wait(lock, [this] { return active_ < 1 && late_ < 1; });
}

HRESULT DeckLinkInputCallback::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!(id == IUnknown::iid) && !(id == IDeckLinkInputCallback::iid)) return E_NOINTERFACE;
    *object = static_cast<IDeckLinkInputCallback*>(this);
    AddRef();
    return S_OK;
}

ULONG DeckLinkInputCallback::AddRef() {
    return static_cast<ULONG>(references_.fetch_add(1) + 1);
}

ULONG DeckLinkInputCallback::Release() {
    const std::int32_t left = references_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
}

HRESULT DeckLinkInputCallback::VideoInputFormatChanged(std::uint32_t /*events*/,
                                                       IDeckLinkDisplayMode* mode,
                                                       std::uint32_t flags) {
    const Call call(*this);
    if (call.parent() != nullptr && mode != nullptr) call.parent()->formatChanged(*mode, flags);
    return S_OK;
}

HRESULT DeckLinkInputCallback::VideoInputFrameArrived(IDeckLinkVideoInputFrame* frame,
                                                      IDeckLinkAudioInputPacket* sound) {
    const Call call(*this);
    if (call.parent() != nullptr) call.parent()->frameArrived(frame, sound);
    return S_OK;
}

} // namespace quol

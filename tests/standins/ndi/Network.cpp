#include "ndi/Network.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace standin {

using quol::ndi::NDIlib_audio_frame_v2_t;
using quol::ndi::NDIlib_video_frame_v2_t;
using Clock = std::chrono::steady_clock;

namespace {

std::optional<std::string> text(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::size_t pictureBytes(const NDIlib_video_frame_v2_t& frame) {
    const std::size_t lines =
        static_cast<std::size_t>(frame.line_stride_in_bytes) * static_cast<std::size_t>(frame.yres);
    for (const auto* planar : {&"NV12", &"I420", &"YV12"}) {
        if (frame.FourCC == quol::ndi::fourCC(*planar)) return lines + lines / 2;
    }
    return lines;
}

test::NdiBytes copied(const void* data, std::size_t size) {
    auto bytes = std::make_shared<std::vector<std::uint8_t>>(size);
    if (size > 0) std::memcpy(bytes->data(), data, size);
    return bytes;
}

template <typename Frame>
void keepLatest(std::deque<Frame>& frames, Frame frame, std::size_t limit) {
    frames.push_back(std::move(frame));
    if (frames.size() > limit) frames.pop_front();
}

} // namespace

Network& Network::instance() {
    // Not destroyed: the objects of a test program may outlive this library's statics.
    static auto* const network = new Network;
    return *network;
}

void Network::reset() {
    const std::lock_guard lock(mutex_);
    state_ = {};
    failures_ = {};
    hold_ = false;
    pace_ = false;
    ++networkChange_;
    sources_.clear();
    queue_.clear();
    out_.clear();
    finderHandles_.clear();
    receiverHandles_.clear();
    senderHandles_.clear();
    listings_.clear();
    nextVideo_.clear();
    changed_.notify_all();
}

void Network::setSources(std::vector<std::string> names) {
    const std::lock_guard lock(mutex_);
    sources_ = std::move(names);
    ++networkChange_;
    changed_.notify_all();
}

void Network::setFailures(const test::NdiFailures& failures) {
    const std::lock_guard lock(mutex_);
    failures_ = failures;
}

void Network::give(test::NdiVideo frame) {
    const std::lock_guard lock(mutex_);
    queue_.emplace_back(std::move(frame));
    changed_.notify_all();
}

void Network::give(test::NdiAudio frame) {
    const std::lock_guard lock(mutex_);
    queue_.emplace_back(std::move(frame));
    changed_.notify_all();
}

void Network::give(quol::ndi::FrameType other) {
    const std::lock_guard lock(mutex_);
    queue_.emplace_back(other);
    changed_.notify_all();
}

void Network::holdVideoSends(bool hold) {
    const std::lock_guard lock(mutex_);
    hold_ = hold;
    changed_.notify_all();
}

void Network::paceVideoSends(bool pace) {
    const std::lock_guard lock(mutex_);
    pace_ = pace;
}

test::NdiState Network::state() {
    const std::lock_guard lock(mutex_);
    state_.queued = queue_.size();
    return state_;
}

bool Network::wait(const std::function<bool(const test::NdiState&)>& condition,
                   std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
        state_.queued = queue_.size();
        return condition(state_);
    });
}

Handle Network::newHandle(std::map<Handle, std::size_t>& handles, std::size_t index) {
    lastHandle_ += 16;
    // A number in the shape of a pointer, into memory that nobody has.
    const auto handle = reinterpret_cast<Handle>(lastHandle_);
    handles[handle] = index;
    changed_.notify_all();
    return handle;
}

template <typename Object>
Object* Network::find(std::map<Handle, std::size_t>& handles, std::vector<Object>& objects,
                      Handle handle, const char* operation) {
    const auto found = handles.find(handle);
    if (found == handles.end()) {
        misuse(std::string(operation) + ": not a handle");
        return nullptr;
    }
    Object& object = objects[found->second];
    if (!object.alive) {
        misuse(std::string(operation) + ": destroyed before");
        return nullptr;
    }
    return &object;
}

void Network::misuse(std::string text) {
    state_.misuses.push_back(std::move(text));
    changed_.notify_all();
}

bool Network::initialize() {
    const std::lock_guard lock(mutex_);
    ++state_.initializeCalls;
    return !failures_.initialize;
}

void Network::destroy() {
    const std::lock_guard lock(mutex_);
    ++state_.destroyCalls;
    changed_.notify_all();
}

Handle Network::createFinder(const quol::ndi::NDIlib_find_create_t* settings) {
    const std::lock_guard lock(mutex_);
    if (failures_.findCreate) return nullptr;
    const quol::ndi::NDIlib_find_create_t made =
        settings == nullptr ? quol::ndi::NDIlib_find_create_t{} : *settings;
    state_.finders.push_back(
        {true, made.show_local_sources, text(made.p_groups), text(made.p_extra_ips), {}});
    return newHandle(finderHandles_, state_.finders.size() - 1);
}

bool Network::waitForSources(Handle finder, std::uint32_t timeoutMs) {
    std::unique_lock lock(mutex_);
    test::NdiFinder* const found =
        find(finderHandles_, state_.finders, finder, "NDIlib_find_wait_for_sources");
    if (found == nullptr) return false;
    found->waits.push_back(timeoutMs);
    const std::uint64_t seen = listings_[finderHandles_[finder]].change;
    // The whole time, as on a network where senders keep coming and going.
    changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [] { return false; });
    return networkChange_ != seen;
}

const quol::ndi::NDIlib_source_t* Network::currentSources(Handle finder, std::uint32_t* count) {
    const std::lock_guard lock(mutex_);
    if (count != nullptr) *count = 0;
    if (find(finderHandles_, state_.finders, finder, "NDIlib_find_get_current_sources") == nullptr)
        return nullptr;
    Listing& listing = listings_[finderHandles_[finder]];
    listing.change = networkChange_;
    // New memory each time: names of an earlier listing must not be used any more.
    listing.names = sources_;
    listing.records.clear();
    for (const std::string& name : listing.names)
        listing.records.push_back({name.c_str(), nullptr});
    if (failures_.sourceName && !listing.records.empty())
        listing.records.front().p_ndi_name = nullptr;
    if (count != nullptr) *count = static_cast<std::uint32_t>(listing.records.size());
    return listing.records.empty() || failures_.listing ? nullptr : listing.records.data();
}

void Network::destroyFinder(Handle finder) {
    const std::lock_guard lock(mutex_);
    test::NdiFinder* const found =
        find(finderHandles_, state_.finders, finder, "NDIlib_find_destroy");
    if (found == nullptr) return;
    found->alive = false;
    listings_.erase(finderHandles_[finder]);
    changed_.notify_all();
}

Handle Network::createReceiver(const quol::ndi::NDIlib_recv_create_v3_t* settings) {
    const std::lock_guard lock(mutex_);
    if (failures_.receiverCreate) return nullptr;
    const quol::ndi::NDIlib_recv_create_v3_t made =
        settings == nullptr ? quol::ndi::NDIlib_recv_create_v3_t{} : *settings;
    test::NdiReceiver receiver;
    receiver.colorFormat = made.color_format;
    receiver.bandwidth = made.bandwidth;
    receiver.allowVideoFields = made.allow_video_fields;
    receiver.name = text(made.p_ndi_recv_name).value_or("");
    receiver.source = text(made.source_to_connect_to.p_ndi_name);
    receiver.url = text(made.source_to_connect_to.p_url_address);
    const Handle handle = newHandle(receiverHandles_, state_.receivers.size());
    state_.receivers.push_back(receiver);
    return handle;
}

void Network::connect(Handle receiver, const quol::ndi::NDIlib_source_t* source) {
    const std::lock_guard lock(mutex_);
    test::NdiReceiver* const found =
        find(receiverHandles_, state_.receivers, receiver, "NDIlib_recv_connect");
    if (found == nullptr) return;
    found->source = source == nullptr ? std::nullopt : text(source->p_ndi_name);
    found->url = source == nullptr ? std::nullopt : text(source->p_url_address);
    changed_.notify_all();
}

std::int32_t Network::capture(Handle receiver, NDIlib_video_frame_v2_t* video,
                              NDIlib_audio_frame_v2_t* audio, std::uint32_t timeoutMs) {
    std::unique_lock lock(mutex_);
    constexpr const char* operation = "NDIlib_recv_capture_v2";
    test::NdiReceiver* const found = find(receiverHandles_, state_.receivers, receiver, operation);
    if (found == nullptr) return quol::ndi::frame_type_error;
    ++found->captures;
    found->timeout = timeoutMs;
    changed_.notify_all();
    const std::size_t index = receiverHandles_[receiver];
    std::int32_t taken = quol::ndi::frame_type_none;
    changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        if (index >= state_.receivers.size() || !state_.receivers[index].source) return false;
        while (!queue_.empty() && taken == quol::ndi::frame_type_none)
            taken = take(index, video, audio);
        return taken != quol::ndi::frame_type_none;
    });
    if (taken != quol::ndi::frame_type_none) changed_.notify_all();
    return taken;
}

std::int32_t Network::take(std::size_t receiver, NDIlib_video_frame_v2_t* video,
                           NDIlib_audio_frame_v2_t* audio) {
    const Item item = std::move(queue_.front());
    queue_.pop_front();
    if (const auto* const picture = std::get_if<test::NdiVideo>(&item)) {
        if (video == nullptr) return quol::ndi::frame_type_none;
        *video = picture->record;
        video->p_data = picture->bytes->data();
        video->p_metadata = nullptr;
        out_.emplace(video->p_data, Out{receiver, true, picture->bytes});
        ++state_.receivers[receiver].given;
        return quol::ndi::frame_type_video;
    }
    if (const auto* const sound = std::get_if<test::NdiAudio>(&item)) {
        if (audio == nullptr) return quol::ndi::frame_type_none;
        *audio = sound->record;
        audio->p_data = reinterpret_cast<float*>(sound->bytes->data());
        audio->p_metadata = nullptr;
        out_.emplace(audio->p_data, Out{receiver, false, sound->bytes});
        ++state_.receivers[receiver].given;
        return quol::ndi::frame_type_audio;
    }
    return std::get<quol::ndi::FrameType>(item);
}

void Network::giveBack(Handle receiver, const void* data, bool video, const char* operation) {
    const std::lock_guard lock(mutex_);
    test::NdiReceiver* const found = find(receiverHandles_, state_.receivers, receiver, operation);
    if (found == nullptr) return;
    const std::size_t index = receiverHandles_[receiver];
    const auto [first, last] = out_.equal_range(data);
    const auto frame = std::find_if(first, last, [&](const auto& entry) {
        return entry.second.receiver == index && entry.second.video == video;
    });
    if (frame == last) return misuse(std::string(operation) + ": no such frame is out");
    out_.erase(frame);
    ++found->freed;
    changed_.notify_all();
}

void Network::destroyReceiver(Handle receiver) {
    const std::lock_guard lock(mutex_);
    constexpr const char* operation = "NDIlib_recv_destroy";
    test::NdiReceiver* const found = find(receiverHandles_, state_.receivers, receiver, operation);
    if (found == nullptr) return;
    if (found->outstanding() > 0) misuse(std::string(operation) + ": frames of it are out");
    const std::size_t index = receiverHandles_[receiver];
    std::erase_if(out_, [index](const auto& entry) { return entry.second.receiver == index; });
    found->alive = false;
    changed_.notify_all();
}

Handle Network::createSender(const quol::ndi::NDIlib_send_create_t* settings) {
    const std::lock_guard lock(mutex_);
    if (failures_.senderCreate) return nullptr;
    const quol::ndi::NDIlib_send_create_t made =
        settings == nullptr ? quol::ndi::NDIlib_send_create_t{} : *settings;
    test::NdiSender sender;
    sender.name = text(made.p_ndi_name).value_or("");
    sender.groups = text(made.p_groups);
    sender.clockVideo = made.clock_video;
    sender.clockAudio = made.clock_audio;
    state_.senders.push_back(std::move(sender));
    return newHandle(senderHandles_, state_.senders.size() - 1);
}

void Network::sendVideo(Handle sender, const NDIlib_video_frame_v2_t* frame) {
    std::unique_lock lock(mutex_);
    constexpr const char* operation = "NDIlib_send_send_video_v2";
    if (find(senderHandles_, state_.senders, sender, operation) == nullptr) return;
    const std::size_t index = senderHandles_[sender];
    if (hold_) {
        state_.senders[index].inVideoSend = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !hold_; });
        if (index >= state_.senders.size()) return;
        state_.senders[index].inVideoSend = false;
    }
    if (pace_ && state_.senders[index].clockVideo && frame->frame_rate_N > 0) {
        const Clock::time_point due = std::max(nextVideo_[index], Clock::now());
        nextVideo_[index] = due + std::chrono::nanoseconds(1'000'000'000LL * frame->frame_rate_D /
                                                           frame->frame_rate_N);
        changed_.wait_until(lock, due, [] { return false; });
        if (index >= state_.senders.size()) return;
    }
    test::NdiSender& to = state_.senders[index];
    ++to.videoSent;
    keepLatest(to.video, {*frame, copied(frame->p_data, pictureBytes(*frame))}, 64);
    changed_.notify_all();
}

void Network::sendAudio(Handle sender, const NDIlib_audio_frame_v2_t* frame) {
    const std::lock_guard lock(mutex_);
    test::NdiSender* const to =
        find(senderHandles_, state_.senders, sender, "NDIlib_send_send_audio_v2");
    if (to == nullptr) return;
    ++to->audioSent;
    const std::size_t size = static_cast<std::size_t>(frame->channel_stride_in_bytes) *
                             static_cast<std::size_t>(frame->no_channels);
    keepLatest(to->audio, {*frame, copied(frame->p_data, size)}, 512);
    changed_.notify_all();
}

void Network::destroySender(Handle sender) {
    const std::lock_guard lock(mutex_);
    test::NdiSender* const found =
        find(senderHandles_, state_.senders, sender, "NDIlib_send_destroy");
    if (found == nullptr) return;
    found->alive = false;
    changed_.notify_all();
}

} // namespace standin

// What the stand-in for the NDI runtime knows.
#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "platform/ndi/Ndi.h"
#include "support/NdiStandin.h"

namespace standin {

using quol::ndi::Handle;

// Everything under one mutex, every change told to whoever waits. Handles are numbers that are
// never used again, so that one which is used after its end is known for what it is.
class Network final : public test::NdiStandin {
public:
    static Network& instance();

    void reset() override;
    void setSources(std::vector<std::string> names) override;
    void setFailures(const test::NdiFailures& failures) override;
    void give(test::NdiVideo frame) override;
    void give(test::NdiAudio frame) override;
    void give(quol::ndi::FrameType other) override;
    void holdVideoSends(bool hold) override;
    void paceVideoSends(bool pace) override;
    test::NdiState state() override;
    bool wait(const std::function<bool(const test::NdiState&)>& condition,
              std::chrono::milliseconds limit) override;

    // The operations, as Runtime has them.
    bool initialize();
    void destroy();
    Handle createFinder(const quol::ndi::NDIlib_find_create_t* settings);
    bool waitForSources(Handle finder, std::uint32_t timeoutMs);
    const quol::ndi::NDIlib_source_t* currentSources(Handle finder, std::uint32_t* count);
    void destroyFinder(Handle finder);
    Handle createReceiver(const quol::ndi::NDIlib_recv_create_v3_t* settings);
    void connect(Handle receiver, const quol::ndi::NDIlib_source_t* source);
    std::int32_t capture(Handle receiver, quol::ndi::NDIlib_video_frame_v2_t* video,
                         quol::ndi::NDIlib_audio_frame_v2_t* audio, std::uint32_t timeoutMs);
    void giveBack(Handle receiver, const void* data, bool video, const char* operation);
    void destroyReceiver(Handle receiver);
    Handle createSender(const quol::ndi::NDIlib_send_create_t* settings);
    void sendVideo(Handle sender, const quol::ndi::NDIlib_video_frame_v2_t* frame);
    void sendAudio(Handle sender, const quol::ndi::NDIlib_audio_frame_v2_t* frame);
    void destroySender(Handle sender);

private:
    using Item = std::variant<test::NdiVideo, test::NdiAudio, quol::ndi::FrameType>;

    struct Out {
        std::size_t receiver = 0; // its index
        bool video = false;
        test::NdiBytes bytes;
    };
    // What a finder handed out last; it is the finder's.
    struct Listing {
        std::vector<std::string> names;
        std::vector<quol::ndi::NDIlib_source_t> records;
        std::uint64_t change = 0; // of the network, when it was made
    };

    Handle newHandle(std::map<Handle, std::size_t>& handles, std::size_t index);
    // The object behind a handle; null, and a misuse noted, when it is none or gone.
    template <typename Object>
    Object* find(std::map<Handle, std::size_t>& handles, std::vector<Object>& objects,
                 Handle handle, const char* operation);
    void misuse(std::string text);
    // Takes the front of the queue into the records; false when this capture does not want it.
    std::int32_t take(std::size_t receiver, quol::ndi::NDIlib_video_frame_v2_t* video,
                      quol::ndi::NDIlib_audio_frame_v2_t* audio);

    std::mutex mutex_;
    std::condition_variable changed_;
    test::NdiState state_;
    test::NdiFailures failures_;
    bool hold_ = false;
    bool pace_ = false;
    std::uint64_t networkChange_ = 0;
    std::vector<std::string> sources_;
    std::deque<Item> queue_;
    std::multimap<const void*, Out> out_;
    std::uintptr_t lastHandle_ = 0;
    std::map<Handle, std::size_t> finderHandles_;
    std::map<Handle, std::size_t> receiverHandles_;
    std::map<Handle, std::size_t> senderHandles_;
    std::map<std::size_t, Listing> listings_;
    std::map<std::size_t, std::chrono::steady_clock::time_point> nextVideo_; // of paced senders
};

} // namespace standin

// Offers a stream to any number of receivers.
#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/vtp/Announcement.h"
#include "platform/vtp/CodingThread.h"
#include "platform/vtp/Connection.h"
#include "platform/vtp/Network.h"
#include "platform/vtp/Outbox.h"
#include "platform/vtp/vtp.h"

namespace quol::vtp {

// One thread from `start` to `stop` accepts, reads, writes and announces; another codes, where a
// receiver needs it. Pictures and sound are handed to them through the outboxes, so that
// `sendPicture` and `sendSound` cost one copy and never wait for a receiver. Any thread may call at
// any time.
class Sender {
public:
    Sender(const StreamInfo& stream, int coding, const Times& times = {});
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender();

    void setNetwork(const vtp_network& network);
    void setScaleQuality(int quality) { quality_ = quality; }

    // At the port that it had before, or else that the network record names, if that is free.
    bool start();

    // What was handed over before still goes out, as far as that takes a quarter of a second.
    void stop();
    std::uint16_t port() const { return port_; }
    void sendPicture(const std::uint8_t* data, std::uint32_t pixelFormat, std::int64_t timestamp);
    void sendSound(const std::int16_t* samples, std::uint32_t samplesPerChannel, std::uint32_t rate,
                   std::uint32_t channels, std::int64_t timestamp);

private:
    // What the thread that sends and those that bring pictures share of one receiver.
    struct Receiver {
        bool takesCoded = false;
        Outbox outbox;
    };
    struct Peer {
        std::unique_ptr<Connection> connection;
        std::shared_ptr<Receiver> receiver; // null for a stranger
        short events = 0;                   // of the last wait
    };
    using Peers = std::map<int, Peer>; // by descriptor

    bool openSockets();
    bool listenAt(std::uint16_t port, const Interface* interface);
    void describe();
    void closeSockets();
    void deliver(const MessageHeader& header, SharedBlock payload);
    bool hasReceivers(bool coded);

    void run();
    bool turn();
    void linger();
    void announce(bool isGone);
    void waitForEvents(Clock::time_point until);
    void acceptAll(Clock::time_point now);
    void accept(const Descriptor& listening, Clock::time_point now);
    bool hasRoomFor(Address peer);
    void dropOldestStranger();
    bool serve(Peer& peer, short events, Clock::time_point now);
    void welcome(Peer& peer);
    void serveAll(Clock::time_point now);
    static void finish(Peer& peer);
    void keepAlive(Clock::time_point now);
    Peers::iterator close(Peers::iterator peer);

    const StreamInfo stream_;
    const int coding_;
    const Times times_;
    std::atomic<int> quality_ = 0;
    std::atomic<std::uint16_t> port_ = 0; // written by start and stop
    CodingThread coder_;

    std::mutex control_; // held over a start or a stop; guards the next five
    vtp_network network_;
    std::uint16_t lastPort_ = 0;
    Instance instance_{}; // one for all starts: receivers know it again
    std::thread thread_;
    bool isRunning_ = false;

    std::mutex order_; // held while a picture or sound is handed over, which keeps their order
    BlockPool pictures_;
    BlockPool sounds_;
    std::uint64_t pictureCount_ = 0; // order_, as the next
    std::uint64_t soundCount_ = 0;

    std::mutex mutex_; // guards the two below and all outboxes
    std::vector<std::shared_ptr<Receiver>> receivers_;
    bool ending_ = true;

    // The thread's while it runs, else of who starts and stops it.
    Wakeup wakeup_;
    std::string secret_;
    std::vector<Descriptor> listening_;
    std::vector<AnnouncementSender> announcing_;
    std::vector<std::uint8_t> announcement_;
    std::vector<std::uint8_t> farewell_;
    BlockPool messages_;
    Peers peers_;
    std::vector<pollfd> waiting_; // of the last wait: the wakeup, who listens, the peers
    Clock::time_point nextAnnouncement_;
    Clock::time_point nextTick_;
    bool acceptsNow_ = true; // not while the process has no descriptors left
};

} // namespace quol::vtp

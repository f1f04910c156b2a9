#include "platform/vtp/Sender.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/vtp/Bytes.h"

namespace quol::vtp {

namespace {

constexpr int portsTried = 16;
constexpr auto tickTime = 250ms;
constexpr auto memoryPause = 10ms; // when memory is short

} // namespace

Sender::Sender(const StreamInfo& stream, int coding, const Times& times)
    : stream_(stream),
      coding_(coding),
      times_(times),
      coder_(stream.pictureRate, [this](const MessageHeader& header, BlockPtr payload) {
          deliver(header, std::move(payload));
      }) {}

Sender::~Sender() {
    stop();
    coder_.stop(); // one that a picture started while the sender was being stopped
}

void Sender::setNetwork(const vtp_network& network) {
    const std::lock_guard control(control_);
    network_ = network;
}

// ------------------------------------------------------------------------------ start and stop

bool Sender::start() {
    const std::lock_guard control(control_);
    if (isRunning_) return true;
    try {
        if (wakeup_ && openSockets()) {
            {
                const std::lock_guard lock(mutex_);
                ending_ = false;
            }
            wakeup_.clear();
            acceptsNow_ = true;
            thread_ = std::thread([this] { run(); });
            isRunning_ = true;
            return true;
        }
    } catch (const std::system_error&) {
    } catch (const std::bad_alloc&) {
    }
    const std::lock_guard lock(mutex_);
    ending_ = true;
    closeSockets();
    return false;
}

bool Sender::openSockets() {
    std::optional<Interface> interface;
    if (!network_.interfaceName.empty()) {
        interface = findInterface(network_.interfaceName);
        if (!interface) return false;
    }
    const Interface* const outer =
        interface && !isLoopback(interface->address) ? &*interface : nullptr;
    bool isListening = listenAt(lastPort_ != 0 ? lastPort_ : network_.port, outer);
    for (int i = 0; i < portsTried && !isListening; ++i)
        isListening = listenAt(0, outer);
    if (!isListening) return false;
    announcing_.emplace_back(nullptr);
    if (outer != nullptr) announcing_.emplace_back(outer);

    if (instance_ == Instance{}) {
        Digest random{};
        if (!makeNonce(random)) return false;
        std::copy_n(random.begin(), instance_.size(), instance_.begin());
    }
    secret_ = network_.secret;
    port_ = localPort(listening_[0]);
    describe();
    lastPort_ = port_;
    return true;
}

// The same port at both addresses, so that there is one to tell. 0 for a free one.
bool Sender::listenAt(std::uint16_t port, const Interface* interface) {
    listening_.clear();
    listening_.push_back(listenForConnections(loopbackAddress, port, nullptr));
    if (!listening_[0]) return false;
    if (interface == nullptr) return true;
    listening_.push_back(
        listenForConnections(interface->address, localPort(listening_[0]), interface));
    return static_cast<bool>(listening_[1]);
}

void Sender::describe() {
    Announcement announcement;
    announcement.instance = instance_;
    announcement.port = port_;
    announcement.flags = static_cast<std::uint16_t>((secret_.empty() ? 0 : announcesSecret) |
                                                    (stream_.hasSound ? announcesSound : 0));
    announcement.width = stream_.width;
    announcement.height = stream_.height;
    announcement.pictureRate = stream_.pictureRate;
    announcement.name = stream_.name;
    announcement_ = writeAnnouncement(announcement);
    announcement.isGone = true;
    farewell_ = writeAnnouncement(announcement);
}

void Sender::closeSockets() {
    port_ = 0;
    listening_.clear();
    announcing_.clear();
}

void Sender::stop() {
    const std::lock_guard control(control_);
    if (!isRunning_) return;
    coder_.stop(); // what is being coded is still sent
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        receivers_.clear();
    }
    wakeup_.wake();
    thread_.join();
    coder_.stop(); // one that a picture started meanwhile
    closeSockets();
    isRunning_ = false;
}

// ------------------------------------------------------------------------- pictures and sound

bool Sender::hasReceivers(bool coded) {
    const std::lock_guard lock(mutex_);
    return std::any_of(receivers_.begin(), receivers_.end(),
                       [coded](const auto& receiver) { return receiver->takesCoded == coded; });
}

void Sender::sendPicture(const std::uint8_t* data, std::uint32_t pixelFormat,
                         std::int64_t timestamp) {
    if (data == nullptr || !isCarriedPicture(stream_.width, stream_.height, pixelFormat)) return;
    const std::lock_guard order(order_);
    MessageHeader header;
    header.type = MessageType::picture;
    header.timestamp = timestamp;
    header.sequence = pictureCount_++;
    header.width = stream_.width;
    header.height = stream_.height;
    header.pixelFormat = pixelFormat;
    header.payloadBytes = stream_.width * stream_.height * bytesPerPixel(pixelFormat);
    const bool plain = hasReceivers(false);
    const bool coded = hasReceivers(true);
    if (!plain && !coded) return;
    const BlockPtr picture = pictures_.get(header.payloadBytes);
    if (!picture) return;
    std::memcpy(picture->data(), data, picture->size());
    if (coded) coder_.submit(header, picture, quality_);
    if (plain) deliver(header, picture);
}

void Sender::sendSound(const std::int16_t* samples, std::uint32_t samplesPerChannel,
                       std::uint32_t rate, std::uint32_t channels, std::int64_t timestamp) {
    if (samples == nullptr || !isCarriedSound(rate, channels, samplesPerChannel)) return;
    const std::lock_guard order(order_);
    MessageHeader header;
    header.type = MessageType::sound;
    header.timestamp = timestamp;
    header.sequence = soundCount_++;
    header.sampleRate = rate;
    header.channels = channels;
    header.samplesPerChannel = samplesPerChannel;
    header.payloadBytes = samplesPerChannel * channels * 2;
    if (!hasReceivers(false) && !hasReceivers(true)) return;
    const BlockPtr sound = sounds_.get(header.payloadBytes);
    if (!sound) return;
    const std::size_t count = std::size_t{samplesPerChannel} * channels;
    for (std::size_t i = 0; i < count; ++i)
        putNumber(sound->data() + 2 * i, samples[i]);
    deliver(header, sound);
}

void Sender::deliver(const MessageHeader& header, SharedBlock payload) {
    const bool isSound = header.type == MessageType::sound;
    const MessagePtr message = makeMessage(header, std::move(payload));
    if (!message) return;
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        for (const std::shared_ptr<Receiver>& receiver : receivers_) {
            if (isSound) {
                receiver->outbox.addSound(message);
            } else if (receiver->takesCoded == (header.coding != codingNone)) {
                receiver->outbox.addPicture(message);
            }
        }
    }
    wakeup_.wake();
}

// ----------------------------------------------------------------------------------- the thread

void Sender::run() {
    announce(false);
    nextAnnouncement_ = Clock::now() + times_.announce;
    nextTick_ = Clock::now() + tickTime;
    bool goesOn = true;
    while (goesOn) {
        try {
            goesOn = turn();
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(memoryPause);
        }
    }
    announce(true);
    try {
        linger();
    } catch (const std::bad_alloc&) {
        // What waits is lost.
    }
    peers_.clear();
}

// False when the sender is being stopped.
bool Sender::turn() {
    waitForEvents(std::min(nextTick_, nextAnnouncement_));
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return false;
    }
    const Clock::time_point now = Clock::now();
    serveAll(now);
    acceptAll(now);
    if (now >= nextTick_) {
        nextTick_ = now + tickTime;
        acceptsNow_ = true;
        keepAlive(now);
    }
    if (now >= nextAnnouncement_) {
        nextAnnouncement_ = now + times_.announce;
        announce(false);
    }
    return true;
}

// Sends what waits, and gives the receivers the time to read it: closing a socket on which
// something has come that was not read throws away what it still has to send.
void Sender::linger() {
    acceptsNow_ = false;
    const Clock::time_point deadline = Clock::now() + times_.linger;
    std::erase_if(peers_, [](const auto& peer) { return !peer.second.receiver; });
    for (auto& [descriptor, peer] : peers_)
        peer.events |= POLLOUT; // tried once, whatever the last wait said
    for (Clock::time_point now = Clock::now(); now < deadline; now = Clock::now()) {
        serveAll(now);
        for (auto& [descriptor, peer] : peers_)
            finish(peer);
        if (peers_.empty()) return;
        waitForEvents(deadline);
    }
}

void Sender::announce(bool isGone) {
    for (AnnouncementSender& announcing : announcing_)
        announcing.send(isGone ? farewell_ : announcement_);
}

void Sender::waitForEvents(Clock::time_point until) {
    waiting_.clear();
    waiting_.push_back({wakeup_.get(), POLLIN, 0});
    // A descriptor below zero is passed over.
    for (const Descriptor& listening : listening_)
        waiting_.push_back({acceptsNow_ ? listening.get() : -1, POLLIN, 0});
    for (const auto& [descriptor, peer] : peers_) {
        const short events = peer.connection->wantsToWrite() ? POLLIN | POLLOUT : POLLIN;
        waiting_.push_back({descriptor, events, 0});
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    pollAll(waiting_, static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000)));
    std::size_t at = 1 + listening_.size();
    for (auto& [descriptor, peer] : peers_)
        peer.events = waiting_[at++].revents;
    if (waiting_[0].revents != 0) wakeup_.clear();
}

void Sender::acceptAll(Clock::time_point now) {
    for (std::size_t i = 0; i < listening_.size(); ++i) {
        if (waiting_[1 + i].revents != 0) accept(listening_[i], now);
    }
}

void Sender::accept(const Descriptor& listening, Clock::time_point now) {
    bool isFull = false;
    Descriptor socket = acceptConnection(listening, isFull);
    if (isFull) acceptsNow_ = false;
    if (!socket) return;
    const Ends ends{ownEnd(socket), otherEnd(socket)};
    if (ends.receiver.port == 0 || !hasRoomFor(ends.receiver.address)) return;
    dropOldestStranger();
    const int number = socket.get();
    Peer peer;
    peer.connection = std::make_unique<Connection>(std::move(socket), ends, stream_, secret_,
                                                   messages_, times_, now);
    peers_[number] = std::move(peer);
}

bool Sender::hasRoomFor(Address address) {
    const auto ofHost = std::count_if(peers_.begin(), peers_.end(), [address](const auto& peer) {
        return peer.second.connection->peer() == address;
    });
    return isLoopback(address) || static_cast<std::size_t>(ofHost) < maxReceiversPerHost;
}

// Who connects and says nothing gives way to who comes after.
void Sender::dropOldestStranger() {
    std::size_t strangers = 0;
    auto oldest = peers_.end();
    for (auto peer = peers_.begin(); peer != peers_.end(); ++peer) {
        if (peer->second.receiver) continue;
        ++strangers;
        if (oldest == peers_.end() ||
            peer->second.connection->begun() < oldest->second.connection->begun())
            oldest = peer;
    }
    if (strangers >= maxStrangers) close(oldest);
}

void Sender::serveAll(Clock::time_point now) {
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        bool stays = false;
        try {
            stays = serve(peer->second, peer->second.events, now);
        } catch (const std::bad_alloc&) {
            // The others shall not suffer.
        }
        peer = stays ? std::next(peer) : close(peer);
    }
}

bool Sender::serve(Peer& peer, short events, Clock::time_point now) {
    Connection& connection = *peer.connection;
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !connection.read(now)) return false;
    if (connection.isReceiver() && !peer.receiver) {
        welcome(peer);
        if (!peer.receiver) return false;
    }
    // A socket that was full is left alone until it is not.
    if (connection.wantsToWrite() && (events & POLLOUT) == 0) return true;
    const auto next = [this, &peer] {
        const std::lock_guard lock(mutex_);
        return peer.receiver->outbox.next();
    };
    return connection.write(next, now);
}

void Sender::welcome(Peer& peer) {
    const std::lock_guard lock(mutex_);
    if (ending_ || receivers_.size() >= maxReceivers) return;
    peer.receiver = std::make_shared<Receiver>();
    peer.receiver->takesCoded =
        coding_ == vtp_coding_intra ||
        (coding_ != vtp_coding_none && !isLoopback(peer.connection->peer()));
    receivers_.push_back(peer.receiver);
}

// Once all that waits is sent.
void Sender::finish(Peer& peer) {
    if (peer.connection->isBusy() || !peer.receiver->outbox.isEmpty()) return;
    peer.connection->finish();
}

void Sender::keepAlive(Clock::time_point now) {
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        bool stays = false;
        try {
            stays = peer->second.connection->keepAlive(now) && serve(peer->second, 0, now);
        } catch (const std::bad_alloc&) {
        }
        peer = stays ? std::next(peer) : close(peer);
    }
}

Sender::Peers::iterator Sender::close(Peers::iterator peer) {
    {
        const std::lock_guard lock(mutex_);
        std::erase(receivers_, peer->second.receiver);
    }
    return peers_.erase(peer);
}

} // namespace quol::vtp

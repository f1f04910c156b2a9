#include "platform/vtp/Receiver.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "platform/vtp/Listener.h"
#include "platform/vtp/Network.h"

namespace quol::vtp {

namespace {

constexpr int readsATurn = 64;

} // namespace

void Receiver::setNetwork(const vtp_network& network) {
    const std::lock_guard lock(mutex_);
    network_ = network;
}

// ----------------------------------------------------------------- connecting and disconnecting

std::uint64_t Receiver::disconnects() {
    const std::lock_guard lock(mutex_);
    return disconnects_;
}

void Receiver::connect(const std::string& host, std::uint16_t port) {
    const std::uint64_t asked = disconnects();
    const std::lock_guard control(control_);
    end();
    connectTo(host, port, asked);
}

void Receiver::connectByName(const std::string& name) {
    const std::uint64_t asked = disconnects();
    const std::lock_guard control(control_);
    end();
    Listener listener;
    {
        const std::lock_guard lock(mutex_);
        listener.setNetwork(network_);
    }
    listener.start();
    const Clock::time_point deadline = Clock::now() + times_.connect;
    while (true) {
        for (const vtp_source_record& source : listener.sources()) {
            if (name == source.name) return connectTo(source.host, source.port, asked);
        }
        std::unique_lock lock(mutex_);
        const bool isCancelled =
            changed_.wait_for(lock, 20ms, [this, asked] { return disconnects_ != asked; });
        if (isCancelled || Clock::now() >= deadline) return;
    }
}

void Receiver::disconnect() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        ++disconnects_;
        phase_ = Phase::idle;
        changed_.notify_all();
    }
    wakeup_.wake();
    const std::lock_guard control(control_);
    end();
}

// Under `control_`.
void Receiver::end() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        phase_ = Phase::idle;
    }
    wakeup_.wake();
    if (thread_.joinable()) thread_.join();
    const std::lock_guard lock(mutex_);
    pictures_.clear();
    sounds_.clear();
}

// Under `control_`, when nothing is connected. `disconnects` is how many there were when the host
// asked for the connection: one that came since then has ended it already.
void Receiver::connectTo(const std::string& host, std::uint16_t port, std::uint64_t disconnects) {
    const std::optional<Address> address = readAddress(host);
    if (!address || !wakeup_) return;
    std::unique_lock lock(mutex_);
    if (disconnects_ != disconnects) return;
    secret_ = network_.secret;
    interfaceName_ = network_.interfaceName;
    ending_ = false;
    wakeup_.clear();
    phase_ = Phase::connecting;
    try {
        thread_ = std::thread([this, address, port] { run(*address, port); });
    } catch (const std::system_error&) {
        phase_ = Phase::idle;
    } catch (const std::bad_alloc&) {
        phase_ = Phase::idle;
    }
    changed_.wait(lock, [this] { return phase_ != Phase::connecting; });
}

// -------------------------------------------------------------------------- what was received

bool Receiver::takePicture(vtp_video_frame& frame) {
    const std::lock_guard lock(mutex_);
    std::optional<Received> received = pictures_.take();
    if (!received) return false;
    shownPicture_ = std::move(received->payload);
    frame.data = shownPicture_->data();
    frame.width = static_cast<std::int32_t>(received->header.width);
    frame.height = static_cast<std::int32_t>(received->header.height);
    frame.pixelFormat = static_cast<std::int32_t>(received->header.pixelFormat);
    frame.timestamp = received->header.timestamp;
    return true;
}

bool Receiver::takeSound(vtp_audio_frame& frame) {
    const std::lock_guard lock(mutex_);
    std::optional<Received> received = sounds_.take();
    if (!received) return false;
    shownSound_ = std::move(received->payload);
    frame.data = reinterpret_cast<const std::int16_t*>(shownSound_->data());
    frame.sampleRate = static_cast<std::int32_t>(received->header.sampleRate);
    frame.channels = static_cast<std::int32_t>(received->header.channels);
    frame.samplesPerChannel = static_cast<std::int32_t>(received->header.samplesPerChannel);
    frame.byteSize = static_cast<std::int32_t>(shownSound_->size());
    frame.timestamp = received->header.timestamp;
    return true;
}

bool Receiver::isConnected() {
    const std::lock_guard lock(mutex_);
    return phase_ != Phase::idle;
}

// ----------------------------------------------------------------------------------- the thread

void Receiver::run(Address address, std::uint16_t port) {
    try {
        converse(address, port);
    } catch (const std::bad_alloc&) {
        // The host may connect again when there is memory.
    }
    {
        const std::lock_guard lock(mutex_);
        phase_ = Phase::idle;
        changed_.notify_all();
    }
    socket_.reset();
    handshake_.reset();
    parser_.reset();
    decoder_.reset();
}

void Receiver::converse(Address address, std::uint16_t port) {
    const Clock::time_point deadline = Clock::now() + times_.connect;
    unsaid_.clear();
    parser_.emplace(Reader::receiver, pool_);
    if (!open(address, port, deadline)) return;
    while (follow(deadline)) {
    }
}

// Connects and says hello.
bool Receiver::open(Address address, std::uint16_t port, Clock::time_point deadline) {
    const std::optional<Interface> interface = findInterface(interfaceName_);
    socket_ = beginConnection(address, port, interface ? &*interface : nullptr);
    if (!socket_) return false;
    while (!wait(POLLOUT, deadline)) {
        const std::lock_guard lock(mutex_);
        if (ending_ || Clock::now() >= deadline) return false;
    }
    if (!vtp::isConnected(socket_)) return false;
    heard_ = Clock::now();
    handshake_.emplace(secret_, Ends{otherEnd(socket_), ownEnd(socket_)});
    MessageHeader hello;
    return handshake_->begin(hello) && say(hello);
}

// True when the socket is ready; false when the time is over or somebody calls.
bool Receiver::wait(short events, Clock::time_point until) {
    std::array<pollfd, 2> waiting{{{wakeup_.get(), POLLIN, 0}, {socket_.get(), events, 0}}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    pollAll(waiting, static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000)));
    return waiting[1].revents != 0;
}

// One turn: false at the end of the connection.
bool Receiver::follow(Clock::time_point deadline) {
    const short events = unsaid_.empty() ? POLLIN : POLLIN | POLLOUT;
    const bool isReady = wait(events, handshake_->isDone() ? spoke_ + times_.heartbeat : deadline);
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return false;
    }
    if (isReady && (!finishSaying() || !read())) return false;
    const Clock::time_point now = Clock::now();
    if (!handshake_->isDone()) return now < deadline;
    if (now - heard_ > times_.silence) return false;
    return now - spoke_ < times_.heartbeat || say(MessageHeader());
}

bool Receiver::read() {
    for (int i = 0; i < readsATurn; ++i) {
        const std::span<std::uint8_t> room = parser_->room();
        if (room.empty()) return false;
        const ssize_t got = recv(socket_.get(), room.data(), room.size(), 0);
        if (got < 0) return errno == EAGAIN || errno == EINTR;
        if (got == 0) return false;
        heard_ = Clock::now();
        const ParseResult result = parser_->taken(static_cast<std::size_t>(got));
        if (result == ParseResult::broken) return false;
        if (result == ParseResult::message && !take(parser_->header(), *parser_)) return false;
    }
    return true;
}

bool Receiver::take(const MessageHeader& header, MessageParser& parser) {
    using Step = ReceiverHandshake::Step;
    MessageHeader answer;
    switch (handshake_->take(header, heard_, answer)) {
        case Step::refused:
            return false;
        case Step::proof:
            return say(answer);
        case Step::welcomed:
            parser.allowMedia();
            return welcome();
        case Step::media:
            try {
                takeMedia(header, parser.payload());
            } catch (const std::bad_alloc&) {
                // A picture less.
            }
            return true;
        case Step::nothing:
            return true;
    }
    return false;
}

bool Receiver::welcome() {
    const std::lock_guard lock(mutex_);
    if (ending_) return false;
    phase_ = Phase::connected;
    changed_.notify_all();
    return true;
}

void Receiver::takeMedia(const MessageHeader& header, BlockPtr payload) {
    if (header.type == MessageType::picture && header.coding != codingNone) {
        if (!decoder_) decoder_.emplace();
        payload = decoder_->decode({payload->data(), payload->size()}, header.width, header.height,
                                   header.pixelFormat, decoded_);
        if (!payload) return; // a damaged picture is a lost one
    }
    if constexpr (std::endian::native == std::endian::big) {
        if (header.type == MessageType::sound) {
            for (std::size_t i = 0; i + 1 < payload->size(); i += 2)
                std::swap(payload->data()[i], payload->data()[i + 1]);
        }
    }
    const std::lock_guard lock(mutex_);
    if (ending_) return;
    (header.type == MessageType::picture ? pictures_ : sounds_).add({header, std::move(payload)});
}

// What is said is short; the socket takes it at once unless the other end has stopped reading.
bool Receiver::say(const MessageHeader& header) {
    spoke_ = Clock::now();
    // Nobody misses a heartbeat while there are others to be sent.
    if (!unsaid_.empty()) return true;
    const HeaderBytes bytes = writeHeader(header);
    unsaid_.assign(reinterpret_cast<const char*>(bytes.bytes.data()), bytes.size);
    return finishSaying();
}

bool Receiver::finishSaying() {
    if (unsaid_.empty()) return true;
    const ssize_t sent =
        send(socket_.get(), unsaid_.data(), unsaid_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) return errno == EAGAIN || errno == EINTR;
    unsaid_.erase(0, static_cast<std::size_t>(sent));
    return true;
}

} // namespace quol::vtp

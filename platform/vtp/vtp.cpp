// The operations, as thin as they can be; the work is done by the three classes.
#include "platform/vtp/vtp.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "platform/vtp/Announcement.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Listener.h"
#include "platform/vtp/Receiver.h"
#include "platform/vtp/Sender.h"

struct vtp_sender : quol::vtp::Sender {
    using Sender::Sender;
};

struct vtp_receiver : quol::vtp::Receiver {};

struct vtp_listener : quol::vtp::Listener {};

namespace {

// Memory that is short, or a lock that fails, must not take a host off the air.
template <typename Result, typename Work>
Result guarded(Result otherwise, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    return otherwise;
}

template <typename Work>
void guarded(Work work) {
    guarded(false, [&work] {
        work();
        return true;
    });
}

template <typename Handle>
Handle* make() {
    return guarded(static_cast<Handle*>(nullptr), [] { return new Handle; });
}

std::uint32_t formatCode(int pixelFormat) {
    return pixelFormat >= vtp_format_rgba && pixelFormat <= vtp_format_bgra
               ? static_cast<std::uint32_t>(pixelFormat)
               : static_cast<std::uint32_t>(vtp_format_rgb24);
}

} // namespace

// ---------------------------------------------------------------------------------------- sender

vtp_sender* vtp_create_sender(const char* name, int width, int height, int rate, int coding,
                              int sound) {
    if (width <= 0 || height <= 0 ||
        !quol::vtp::isCarriedPicture(static_cast<std::uint32_t>(width),
                                     static_cast<std::uint32_t>(height), vtp_format_rgba))
        return nullptr;
    return guarded(static_cast<vtp_sender*>(nullptr), [&] {
        quol::vtp::StreamInfo stream;
        stream.name = quol::vtp::shownName(name != nullptr ? name : "", quol::vtp::maxNameBytes);
        stream.width = static_cast<std::uint32_t>(width);
        stream.height = static_cast<std::uint32_t>(height);
        stream.pictureRate =
            std::min(static_cast<std::uint32_t>(std::max(rate, 0)), quol::vtp::maxPictureRate);
        stream.hasSound = sound != 0;
        return new vtp_sender(stream, coding);
    });
}

void vtp_destroy_sender(vtp_sender* sender) {
    delete sender;
}

void vtp_sender_set_network(vtp_sender* sender, const vtp_network& network) {
    if (sender != nullptr) guarded([&] { sender->setNetwork(network); });
}

bool vtp_sender_start(vtp_sender* sender) {
    return sender != nullptr && guarded(false, [sender] { return sender->start(); });
}

void vtp_sender_stop(vtp_sender* sender) {
    if (sender != nullptr) guarded([&] { sender->stop(); });
}

void vtp_sender_send_frame(vtp_sender* sender, const uint8_t* data, int pixelFormat,
                           int64_t timestampNs) {
    if (sender == nullptr) return;
    guarded([&] { sender->sendPicture(data, formatCode(pixelFormat), timestampNs); });
}

void vtp_sender_send_audio(vtp_sender* sender, const int16_t* samples, int samplesPerChannel,
                           int rate, int channels, int64_t timestampNs) {
    if (sender == nullptr || samplesPerChannel <= 0 || rate <= 0 || channels <= 0) return;
    guarded([&] {
        sender->sendSound(samples, static_cast<std::uint32_t>(samplesPerChannel),
                          static_cast<std::uint32_t>(rate), static_cast<std::uint32_t>(channels),
                          timestampNs);
    });
}

uint16_t vtp_sender_get_port(vtp_sender* sender) {
    return sender != nullptr ? sender->port() : uint16_t{0};
}

void vtp_sender_set_scale_quality(vtp_sender* sender, int quality) {
    if (sender != nullptr) sender->setScaleQuality(std::clamp(quality, 0, 2));
}

// -------------------------------------------------------------------------------------- receiver

vtp_receiver* vtp_create_receiver() {
    return make<vtp_receiver>();
}

void vtp_destroy_receiver(vtp_receiver* receiver) {
    delete receiver;
}

void vtp_receiver_set_network(vtp_receiver* receiver, const vtp_network& network) {
    if (receiver != nullptr) guarded([&] { receiver->setNetwork(network); });
}

void vtp_receiver_connect(vtp_receiver* receiver, const char* host, uint16_t port) {
    if (receiver != nullptr) guarded([&] { receiver->connect(host != nullptr ? host : "", port); });
}

void vtp_receiver_connect_by_name(vtp_receiver* receiver, const char* name) {
    if (receiver != nullptr) guarded([&] { receiver->connectByName(name != nullptr ? name : ""); });
}

void vtp_receiver_disconnect(vtp_receiver* receiver) {
    if (receiver != nullptr) guarded([&] { receiver->disconnect(); });
}

bool vtp_receiver_receive_frame(vtp_receiver* receiver, vtp_video_frame* frame) {
    return receiver != nullptr && frame != nullptr &&
           guarded(false, [&] { return receiver->takePicture(*frame); });
}

bool vtp_receiver_receive_audio(vtp_receiver* receiver, vtp_audio_frame* frame) {
    return receiver != nullptr && frame != nullptr &&
           guarded(false, [&] { return receiver->takeSound(*frame); });
}

bool vtp_receiver_is_connected(vtp_receiver* receiver) {
    return receiver != nullptr && guarded(false, [&] { return receiver->isConnected(); });
}

// -------------------------------------------------------------------------------------- listener

vtp_listener* vtp_create_listener() {
    return make<vtp_listener>();
}

void vtp_destroy_listener(vtp_listener* listener) {
    delete listener;
}

void vtp_listener_set_network(vtp_listener* listener, const vtp_network& network) {
    if (listener != nullptr) guarded([&] { listener->setNetwork(network); });
}

void vtp_listener_start(vtp_listener* listener) {
    if (listener != nullptr) guarded([&] { listener->start(); });
}

void vtp_listener_stop(vtp_listener* listener) {
    if (listener != nullptr) guarded([&] { listener->stop(); });
}

int vtp_listener_get_sources(vtp_listener* listener, vtp_source_record* records, int maximum) {
    if (listener == nullptr || records == nullptr || maximum <= 0) return 0;
    return guarded(0, [&] {
        const std::vector<vtp_source_record> sources =
            listener->sources(static_cast<std::size_t>(maximum));
        std::copy(sources.begin(), sources.end(), records);
        return static_cast<int>(sources.size());
    });
}

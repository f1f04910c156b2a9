#include "support/VtpEnds.h"

#include <unistd.h>

#include <array>
#include <random>

namespace test {

std::string vtpName(const std::string& name) {
    return name + " " + std::to_string(getpid());
}

VtpSender startedSender(const std::string& name, int width, int height, int coding,
                        const vtp_network& network) {
    VtpSender sender(vtp_create_sender(name.c_str(), width, height, 50, coding, 1));
    vtp_sender_set_network(sender.get(), network);
    if (!vtp_sender_start(sender.get())) sender.reset();
    return sender;
}

VtpReceiver connectedReceiver(vtp_sender* sender, const vtp_network& network) {
    VtpReceiver receiver(vtp_create_receiver());
    vtp_receiver_set_network(receiver.get(), network);
    const std::uint16_t port = vtp_sender_get_port(sender);
    for (int i = 0; i < 10 && !vtp_receiver_is_connected(receiver.get()); ++i)
        vtp_receiver_connect(receiver.get(), "127.0.0.1", port);
    if (!vtp_receiver_is_connected(receiver.get())) receiver.reset();
    return receiver;
}

std::vector<std::uint8_t> vtpPicture(int width, int height, int bytesPerPixel, unsigned number) {
    std::minstd_rand random(number + 1);
    std::vector<std::uint8_t> picture(static_cast<std::size_t>(width * height * bytesPerPixel));
    for (std::uint8_t& byte : picture)
        byte = static_cast<std::uint8_t>(random() >> 8);
    return picture;
}

std::vector<std::int16_t> vtpSound(int samples, int channels, unsigned number) {
    std::minstd_rand random(number + 1000);
    std::vector<std::int16_t> sound(static_cast<std::size_t>(samples * channels));
    for (std::int16_t& sample : sound)
        sample = static_cast<std::int16_t>(random() >> 8);
    return sound;
}

bool nextPicture(vtp_receiver* receiver, vtp_video_frame& frame) {
    return becomesTrue([&] { return vtp_receiver_receive_frame(receiver, &frame); });
}

bool nextSound(vtp_receiver* receiver, vtp_audio_frame& frame) {
    return becomesTrue([&] { return vtp_receiver_receive_audio(receiver, &frame); });
}

std::vector<std::uint8_t> bytesOf(const vtp_video_frame& frame, int bytesPerPixel) {
    return {frame.data, frame.data + frame.width * frame.height * bytesPerPixel};
}

std::vector<std::int16_t> samplesOf(const vtp_audio_frame& frame) {
    return {frame.data, frame.data + frame.samplesPerChannel * frame.channels};
}

std::vector<vtp_source_record> sourcesOf(vtp_listener* listener) {
    std::array<vtp_source_record, 64> records{};
    const int count = vtp_listener_get_sources(listener, records.data(), 64);
    return {records.begin(), records.begin() + count};
}

std::vector<vtp_source_record> sourcesNamed(vtp_listener* listener, const std::string& name) {
    std::vector<vtp_source_record> named = sourcesOf(listener);
    std::erase_if(named, [&name](const vtp_source_record& source) {
        return std::string(source.name).rfind(name, 0) != 0;
    });
    return named;
}

} // namespace test

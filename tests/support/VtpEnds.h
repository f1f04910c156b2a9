// Senders, receivers and listeners of vtp that end with the test, and waiting for what they bring.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/vtp/vtp.h"

namespace test {

struct VtpDeleter {
    void operator()(vtp_sender* sender) const { vtp_destroy_sender(sender); }
    void operator()(vtp_receiver* receiver) const { vtp_destroy_receiver(receiver); }
    void operator()(vtp_listener* listener) const { vtp_destroy_listener(listener); }
};

using VtpSender = std::unique_ptr<vtp_sender, VtpDeleter>;
using VtpReceiver = std::unique_ptr<vtp_receiver, VtpDeleter>;
using VtpListener = std::unique_ptr<vtp_listener, VtpDeleter>;

// True as soon as `holds` is; false after a time that no working machine needs.
template <typename Condition>
bool becomesTrue(Condition holds, std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Names of this process alone: other tests run beside it and are heard too.
std::string vtpName(const std::string& name);

// A sender of `width` by `height` that runs.
VtpSender startedSender(const std::string& name, int width = 16, int height = 8,
                        int coding = vtp_coding_automatic, const vtp_network& network = {});

// Connects to it within this machine, as often as it takes on a busy one.
VtpReceiver connectedReceiver(vtp_sender* sender, const vtp_network& network = {});

// A picture of noise, another for each number.
std::vector<std::uint8_t> vtpPicture(int width, int height, int bytesPerPixel, unsigned number);

std::vector<std::int16_t> vtpSound(int samples, int channels, unsigned number);

// The next picture or block of sound; false when none came.
bool nextPicture(vtp_receiver* receiver, vtp_video_frame& frame);
bool nextSound(vtp_receiver* receiver, vtp_audio_frame& frame);

std::vector<std::uint8_t> bytesOf(const vtp_video_frame& frame, int bytesPerPixel);
std::vector<std::int16_t> samplesOf(const vtp_audio_frame& frame);

// What a listener knows.
std::vector<vtp_source_record> sourcesOf(vtp_listener* listener);

// The ones whose name begins so.
std::vector<vtp_source_record> sourcesNamed(vtp_listener* listener, const std::string& name);

} // namespace test

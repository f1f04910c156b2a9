// The machine's default device for sound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace quol {

// A device that plays 16-bit stereo from a queue; silent until it is resumed. One thread at a time.
class SoundDevice {
public:
    // Null when there is none, or it takes no sound of that rate (Hz).
    static std::unique_ptr<SoundDevice> open(int sampleRate);

    SoundDevice(const SoundDevice&) = delete;
    SoundDevice& operator=(const SoundDevice&) = delete;
    ~SoundDevice();

    // Interleaved pairs, behind those that wait.
    void queue(const std::int16_t* samples, std::size_t pairs);
    void clearQueue();
    std::size_t queuedPairs() const;

    void pause(bool paused);

    // False once it was taken from the machine.
    bool isAlive() const;

private:
    explicit SoundDevice(unsigned device) : device_(device) {}

    unsigned device_; // SDL's number for it
};

} // namespace quol

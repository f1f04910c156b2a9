#include "platform/sound/SoundDevice.h"

#include <SDL.h>

#include <limits>
#include <mutex>

namespace quol {

namespace {

constexpr std::size_t pairBytes = 2 * sizeof(std::int16_t);

// SDL starts and ends its parts, and gives out its devices, without a lock of its own.
std::mutex& subsystemMutex() {
    static std::mutex mutex;
    return mutex;
}

// SDL counts who uses its sound, so a host that has SDL too keeps its own. Left to itself it would
// also take the process's signals for interruption and ending, which are the host's.
bool startSubsystem() {
    const char* const told = SDL_GetHint(SDL_HINT_NO_SIGNAL_HANDLERS);
    const bool hostDecides = told != nullptr;
    if (!hostDecides) SDL_SetHintWithPriority(SDL_HINT_NO_SIGNAL_HANDLERS, "1", SDL_HINT_OVERRIDE);
    const bool started = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
    if (!hostDecides) SDL_ResetHint(SDL_HINT_NO_SIGNAL_HANDLERS);
    return started;
}

void stopSubsystem() {
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

} // namespace

std::unique_ptr<SoundDevice> SoundDevice::open(int sampleRate) {
    const std::lock_guard lock(subsystemMutex());
    if (sampleRate < 1 || !startSubsystem()) return nullptr;
    SDL_AudioSpec wanted{};
    wanted.freq = sampleRate;
    wanted.format = AUDIO_S16SYS;
    wanted.channels = 2;
    wanted.samples = 1024;
    const SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (device == 0) {
        stopSubsystem();
        return nullptr;
    }
    return std::unique_ptr<SoundDevice>(new SoundDevice(device));
}

SoundDevice::~SoundDevice() {
    const std::lock_guard lock(subsystemMutex());
    SDL_CloseAudioDevice(device_);
    stopSubsystem();
}

void SoundDevice::queue(const std::int16_t* samples, std::size_t pairs) {
    constexpr std::size_t most = std::numeric_limits<Uint32>::max() / pairBytes;
    if (pairs <= most) SDL_QueueAudio(device_, samples, static_cast<Uint32>(pairs * pairBytes));
}

void SoundDevice::clearQueue() {
    SDL_ClearQueuedAudio(device_);
}

std::size_t SoundDevice::queuedPairs() const {
    return SDL_GetQueuedAudioSize(device_) / pairBytes;
}

void SoundDevice::pause(bool paused) {
    SDL_PauseAudioDevice(device_, paused ? 1 : 0);
}

bool SoundDevice::isAlive() const {
    return SDL_GetAudioDeviceStatus(device_) != SDL_AUDIO_STOPPED;
}

} // namespace quol

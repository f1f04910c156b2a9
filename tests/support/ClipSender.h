// Another process that plays the numbered clip to "VTP Output".
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "support/ChildProcess.h"
#include "support/LinkedMachines.h"
#include "support/NumberedClip.h"

namespace test {

// Made before the test starts a thread. It can be found and connected to from `isReady` on.
class ClipSender {
public:
    // On that machine and its cable; without one, within this machine.
    explicit ClipSender(const std::string& name, const Machine* machine = nullptr);
    ~ClipSender();
    ClipSender(const ClipSender&) = delete;
    ClipSender& operator=(const ClipSender&) = delete;

    bool isReady() const;
    void play();
    // Stops the clip, then the output; waits for the end of the process. False when it hangs.
    bool stop();

    // When the player pushed that picture to the output, steady nanoseconds; 0 if it never did.
    std::int64_t pushed(int number) const;
    // How far the sound was behind that picture when the player pushed them, in seconds, as
    // SoundClock has it; nothing where one of them never was pushed.
    std::optional<double> soundBehind(int number) const;
    // Number of the latest picture that was pushed; -1 before it.
    int latest() const;
    // How late the player's latest picture of all was, in seconds, against its own times.
    double lateness() const;

    // Of the output, once it has stopped.
    int sent() const { return report_->sent; }
    int dropped() const { return report_->dropped; }
    // Pictures that the player pushed.
    int pictures() const;

    static constexpr int mostBlocks = 2000;

    // In memory that both processes have.
    struct Report {
        std::atomic<bool> ready;   // the child writes
        std::atomic<bool> playing; // the parent writes
        std::atomic<bool> ending;  // the parent writes
        std::atomic<int> sent;     // these: the child
        std::atomic<int> dropped;
        std::atomic<std::int64_t> pushed[NumberedClip::pictures];
        std::atomic<int> blocks; // of sound; of each its place in the clip, and when it was pushed
        std::atomic<std::int64_t> firstPair[mostBlocks];
        std::atomic<std::int64_t> soundPushed[mostBlocks];
    };

private:
    struct Unmap {
        void operator()(Report* report) const;
    };

    std::unique_ptr<Report, Unmap> report_;
    std::unique_ptr<ChildProcess> process_;
};

} // namespace test

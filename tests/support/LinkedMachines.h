// Two machines with a cable between them, as far as programs can tell: network namespaces that live
// as long as a thread each, and a link that this process carries, with delay, loss and cuts.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/vtp/Descriptor.h"

namespace test {

// A network namespace of its own, and a thread in it from the first `run` on. Threads that are
// started by what it runs belong to the namespace too. Nothing of it is left when all of them, and
// the processes that have it, have ended.
class Machine {
public:
    // Leaves no thread behind, so that the process may still be copied.
    explicit Machine(const std::string& address);
    ~Machine();

    // False where the system does not let us make it.
    bool isThere() const { return static_cast<bool>(cable_); }

    // Runs it there, and waits.
    void run(const std::function<void()>& work);

    // Moves the calling thread there, for good. For a copy of this process; false when it cannot.
    bool enter() const;

    const std::string& address() const { return address_; }
    int cable() const { return cable_.get(); }

    static constexpr const char* interfaceName = "cable0";

private:
    void work();
    void setUp();

    const std::string address_;
    quol::vtp::Descriptor place_; // the namespace
    quol::vtp::Descriptor cable_; // the outer end of the interface: whole Ethernet frames
    std::mutex mutex_;            // guards all below
    std::condition_variable changed_;
    const std::function<void()>* asked_ = nullptr;
    bool ending_ = false;
    std::thread thread_; // of the first caller of `run`
};

// The cable. It may be told to change at any time.
class Cable {
public:
    Cable(const Machine& one, const Machine& other);
    ~Cable();

    void setDelay(std::chrono::milliseconds delay) { delay_ = delay; }
    void setLoss(double share) { loss_ = share; }
    void cut(bool isCut) { isCut_ = isCut; }

    // IPv4 and ARP packets that came from the first machine so far, lost ones too.
    int packets() const { return packets_; }

private:
    void carry(int one, int other);

    std::atomic<std::chrono::milliseconds> delay_ = std::chrono::milliseconds(0);
    std::atomic<double> loss_ = 0.0;
    std::atomic<bool> isCut_ = false;
    std::atomic<int> packets_ = 0;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

} // namespace test

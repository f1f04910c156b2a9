#include "support/LinkedMachines.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <deque>
#include <exception>
#include <fstream>
#include <random>
#include <vector>

namespace test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t frameBytes = 2048;
constexpr std::size_t mostFrames = 20000; // under way, beyond which a cable loses them

ifreq interfaceRequest(const char* name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    return request;
}

bool bringUp(int socket, const char* name) {
    ifreq request = interfaceRequest(name);
    request.ifr_flags = IFF_UP | IFF_RUNNING | IFF_MULTICAST | IFF_BROADCAST;
    return ioctl(socket, SIOCSIFFLAGS, &request) == 0;
}

bool setAddress(int socket, const char* name, unsigned long what, const std::string& address) {
    ifreq request = interfaceRequest(name);
    auto* to = reinterpret_cast<sockaddr_in*>(&request.ifr_addr);
    to->sin_family = AF_INET;
    return inet_pton(AF_INET, address.c_str(), &to->sin_addr) == 1 &&
           ioctl(socket, what, &request) == 0;
}

bool isInternet(const std::vector<char>& frame) {
    if (frame.size() < 14 || frame[12] != 0x08) return false;
    return frame[13] == 0x00 || frame[13] == 0x06;
}

struct UnderWay {
    Clock::time_point due;
    int to;
    std::vector<char> frame;
};

} // namespace

Machine::Machine(const std::string& address) : address_(address) {
    std::thread([this] { setUp(); }).join();
}

Machine::~Machine() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void Machine::run(const std::function<void()>& work) {
    std::unique_lock lock(mutex_);
    if (!thread_.joinable()) thread_ = std::thread([this] { this->work(); });
    asked_ = &work;
    changed_.notify_all();
    changed_.wait(lock, [this] { return asked_ == nullptr; });
}

bool Machine::enter() const {
    return setns(place_.get(), CLONE_NEWNET) == 0;
}

void Machine::work() {
    if (!enter()) std::terminate(); // rather than talk to the real network
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ending_ || asked_ != nullptr; });
        if (ending_) return;
        const std::function<void()>& work = *asked_;
        lock.unlock();
        work();
        lock.lock();
        asked_ = nullptr;
        changed_.notify_all();
    }
}

void Machine::setUp() {
    if (unshare(CLONE_NEWNET) != 0) return;
    place_ = quol::vtp::Descriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    if (!place_) return;
    // It would talk by itself.
    std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << "1";
    quol::vtp::Descriptor cable(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ifreq request = interfaceRequest(interfaceName);
    request.ifr_flags = IFF_TAP | IFF_NO_PI;
    if (!cable || ioctl(cable.get(), TUNSETIFF, &request) != 0) return;
    const quol::vtp::Descriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!bringUp(control.get(), "lo") ||
        !setAddress(control.get(), interfaceName, SIOCSIFADDR, address_) ||
        !setAddress(control.get(), interfaceName, SIOCSIFNETMASK, "255.255.255.0") ||
        !bringUp(control.get(), interfaceName))
        return;
    cable_ = std::move(cable);
}

Cable::Cable(const Machine& one, const Machine& other) {
    thread_ = std::thread([this, from = one.cable(), to = other.cable()] { carry(from, to); });
}

Cable::~Cable() {
    ending_ = true;
    thread_.join();
}

void Cable::carry(int one, int other) {
    std::deque<UnderWay> underWay;
    std::minstd_rand random(1);
    std::array<pollfd, 2> waiting{{{one, POLLIN, 0}, {other, POLLIN, 0}}};
    while (!ending_) {
        poll(waiting.data(), waiting.size(), 1);
        for (const pollfd& from : waiting) {
            std::vector<char> frame(frameBytes);
            for (ssize_t size = 0; (size = read(from.fd, frame.data(), frameBytes)) > 0;) {
                frame.resize(static_cast<std::size_t>(size));
                if (from.fd == one && isInternet(frame)) ++packets_;
                const bool isLost = isCut_ || underWay.size() >= mostFrames ||
                                    static_cast<double>(random() % 10000) < loss_.load() * 10000.0;
                if (!isLost)
                    underWay.push_back({Clock::now() + delay_.load(), from.fd == one ? other : one,
                                        std::move(frame)});
                frame.assign(frameBytes, 0);
            }
        }
        while (!underWay.empty() && underWay.front().due <= Clock::now()) {
            const UnderWay& arrived = underWay.front();
            if (!isCut_) {
                [[maybe_unused]] const ssize_t written =
                    write(arrived.to, arrived.frame.data(), arrived.frame.size());
            }
            underWay.pop_front();
        }
    }
}

} // namespace test

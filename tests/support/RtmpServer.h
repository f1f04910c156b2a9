// A real RTMP server on this machine: nginx with its RTMP module (scripts/rtmp-server.sh).
#pragma once

#include <memory>
#include <string>

#include "support/Program.h"

namespace test {

// Listens on 127.0.0.1 and a free port from construction to destruction, and hands on to its
// players what is published to it, under any name. One process, in the foreground, with its files
// in a temporary folder. To be made and started by a thread that outlives it, as Program.
//
//     if (!test::RtmpServer::available()) GTEST_SKIP() << test::RtmpServer::unavailable;
//     test::RtmpServer server;
//     ASSERT_TRUE(server.running()) << server.log();
class RtmpServer {
public:
    // Whether there is one that loads its module; tried once.
    static bool available();
    // Why there is none, when it was asked.
    static const char* unavailable;

    RtmpServer();

    // Starts it again, on the same port; returns when it accepts. False when it does not: log().
    bool start();
    // Ends it as the system does at its end, and waits.
    void stop();
    // By SIGKILL, and waits.
    void kill();
    // The process stands still: the system still takes connections for it, and nothing answers.
    void freeze();
    void goOn();

    bool running() const { return process_ && process_->running(); }
    int port() const { return port_; }
    // Without and with the name of a stream.
    std::string url() const { return "rtmp://127.0.0.1:" + std::to_string(port_) + "/live"; }
    std::string url(const std::string& key) const { return url() + "/" + key; }

    // What it said, and its record of connections, publishers and players.
    std::string log() const;

private:
    std::string folder_;
    int port_ = 0;
    std::unique_ptr<Program> process_;
};

} // namespace test

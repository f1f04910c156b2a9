#include "support/RtmpServer.h"

#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LocalPort.h"

namespace test {

namespace {

const std::string prefix = QUOLSDK_TEST_RTMP_SERVER;

// As nginx reads a path with blanks in it.
std::string quoted(const std::string& path) {
    return '"' + path + '"';
}

std::string loadModule() {
    return "load_module " + quoted(prefix + "/ngx_rtmp_module.so") + ";\n";
}

// What keeps the server from running here, empty for nothing. `-t` reads a configuration and
// touches no port.
std::string obstacle() {
    const std::string none = "no RTMP server to test with: scripts/rtmp-server.sh gets one";
    if (access((prefix + "/nginx").c_str(), X_OK) != 0) return none;
    const std::string folder = temporaryPath("rtmp-server-look");
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/nginx.conf")
        << loadModule() << "pid " << quoted(folder + "/pid") << ";\nevents {}\nrtmp {}\n";
    const std::string said = outputOf({prefix + "/nginx", "-t", "-q", "-p", folder, "-e",
                                       folder + "/error.log", "-c", folder + "/nginx.conf"});
    return said.empty() ? said : none + "; the one there does not run: " + said;
}

std::string textOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

const char* RtmpServer::unavailable = "";

bool RtmpServer::available() {
    static const std::string why = obstacle();
    unavailable = why.c_str();
    return why.empty();
}

RtmpServer::RtmpServer() {
    static int made = 0;
    folder_ = temporaryPath("rtmp-server-" + std::to_string(made++));
    std::filesystem::create_directories(folder_);
    // Another process may take the port between the look and the start.
    for (int tries = 0; tries < 5; ++tries) {
        port_ = freeTcpPort();
        if (start()) return;
    }
}

bool RtmpServer::start() {
    const std::string configuration = folder_ + "/nginx.conf";
    std::ofstream(configuration) << loadModule() << "daemon off;\n"
                                 << "master_process off;\n"
                                 << "pid " << quoted(folder_ + "/pid") << ";\n"
                                 << "error_log " << quoted(folder_ + "/error.log") << " info;\n"
                                 << "events {}\n"
                                 << "rtmp {\n"
                                 << "    access_log " << quoted(folder_ + "/access.log") << ";\n"
                                 << "    server {\n"
                                 << "        listen 127.0.0.1:" << port_ << ";\n"
                                 << "        application live {\n"
                                 << "            live on;\n"
                                 << "        }\n"
                                 << "    }\n"
                                 << "}\n";
    process_ = std::make_unique<Program>(std::vector<std::string>{
        prefix + "/nginx", "-p", folder_, "-e", folder_ + "/error.log", "-c", configuration});
    waitUntil([this] { return !running() || acceptsTcp(port_); });
    return running() && acceptsTcp(port_);
}

void RtmpServer::stop() {
    if (!process_) return;
    process_->signal(SIGTERM);
    process_->wait();
    process_.reset();
}

void RtmpServer::kill() {
    process_.reset();
}

void RtmpServer::freeze() {
    if (process_) process_->signal(SIGSTOP);
}

void RtmpServer::goOn() {
    if (process_) process_->signal(SIGCONT);
}

std::string RtmpServer::log() const {
    return textOf(folder_ + "/error.log") + textOf(folder_ + "/access.log") +
           (process_ ? process_->output() : std::string{});
}

} // namespace test

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

std::string textOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

bool RtmpServer::available() {
    return access((prefix + "/nginx").c_str(), X_OK) == 0;
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
    std::ofstream(configuration) << "load_module " << prefix << "/ngx_rtmp_module.so;\n"
                                 << "daemon off;\n"
                                 << "master_process off;\n"
                                 << "pid " << folder_ << "/pid;\n"
                                 << "error_log " << folder_ << "/error.log info;\n"
                                 << "events {}\n"
                                 << "rtmp {\n"
                                 << "    access_log " << folder_ << "/access.log;\n"
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

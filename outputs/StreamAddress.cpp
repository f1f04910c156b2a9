#include "outputs/StreamAddress.h"

#include <array>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quol {

namespace {

struct Usual {
    std::string_view protocol;
    const char* muxer;
};

// Addresses of these seldom have an ending that tells.
constexpr std::array usual{
    Usual{"rtmps", "flv"},      Usual{"rtmpt", "flv"},  Usual{"rtmpe", "flv"},
    Usual{"rtmpte", "flv"},     Usual{"rtmpts", "flv"}, Usual{"srt", "mpegts"},
    Usual{"udp", "mpegts"},     Usual{"tcp", "mpegts"}, Usual{"rist", "mpegts"},
    Usual{"rtp", "rtp_mpegts"}, Usual{"rtsp", "rtsp"},
};

} // namespace

std::string streamAddress(const std::string& url, const std::string& key) {
    if (key.empty()) return url;
    return url.ends_with('/') ? url + key : url + "/" + key;
}

std::string streamMuxer(const std::string& address) {
    if (address.starts_with("rtmp://")) return "flv";
    const AVOutputFormat* guessed = av_guess_format(nullptr, address.c_str(), nullptr);
    if (guessed != nullptr) return guessed->name;
    const std::size_t end = address.find("://");
    if (end == std::string::npos) return {};
    const std::string_view protocol = std::string_view(address).substr(0, end);
    for (const Usual& one : usual)
        if (one.protocol == protocol) return one.muxer;
    return {};
}

bool isLocalFile(const std::string& address) {
    const char* protocol = avio_find_protocol_name(address.c_str());
    return protocol != nullptr && std::string_view(protocol) == "file";
}

} // namespace quol

#include "support/LottieTemplates.h"

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "core/Handles.h"
#include "support/CapturedStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace test {

namespace {

std::string pair(double x, double y) {
    return '[' + std::to_string(x) + ',' + std::to_string(y) + ']';
}

std::string fixed(const std::string& key, const std::string& value) {
    return '"' + key + R"(":{"a":0,"k":)" + value + '}';
}

// What leaves a layer, or a group, where it is.
const std::string& inPlace() {
    static const std::string text = fixed("o", "100") + ',' + fixed("r", "0") + ',' +
                                    fixed("p", "[0,0]") + ',' + fixed("a", "[0,0]") + ',' +
                                    fixed("s", "[100,100]");
    return text;
}

std::string frames(int from, int to) {
    return R"("ip":)" + std::to_string(from) + R"(,"op":)" + std::to_string(to) + R"(,"st":0)";
}

// For layers that last for all of any template here.
const std::string& always() {
    static const std::string text = frames(0, 1000);
    return text;
}

// The rectangle and its fill, in a group.
std::string group(const std::string& fill, const LottieBox& box, const std::string& named) {
    const std::string middle = pair(box.left + box.width / 2.0, box.top + box.height / 2.0);
    return R"({"ty":"gr","it":[{"ty":"rc",)" + fixed("p", middle) + ',' +
           fixed("s", pair(box.width, box.height)) + ',' + fixed("r", "0") + "}," + fill +
           R"(,{"ty":"tr",)" + inPlace() + "}]" + named + '}';
}

std::string shapeLayer(const std::string& name, const std::string& fill, const LottieBox& box,
                       const std::string& time) {
    return R"({"ddd":0,"ind":1,"ty":4,"nm":")" + name + R"(","sr":1,"ks":{)" + inPlace() +
           R"(},"shapes":[)" + group(fill, box, "") + "]," + time + '}';
}

// A letter that is a box, as wide as the advance of `width`, less a gap.
std::string letter(const std::string& name, int width) {
    const std::string right = std::to_string(width - 2);
    const std::string corners =
        "[[0,0],[" + right + ",0],[" + right + ",-80],[0,-80]]"; // on the base line
    const std::string straight = "[[0,0],[0,0],[0,0],[0,0]]";
    return R"({"ch":")" + name + R"(","size":20,"style":"Regular","w":)" + std::to_string(width) +
           R"(,"data":{"shapes":[{"ty":"gr","it":[{"ty":"sh","ks":{"a":0,"k":{"i":)" + straight +
           R"(,"o":)" + straight + R"(,"v":)" + corners +
           R"(,"c":true}}}]}]},"fFamily":"Any Family"})";
}

} // namespace

std::string lottieOf(const std::string& layers, const std::string& more, const LottieTime& time) {
    return R"({"v":"5.7.0","fr":)" + std::to_string(time.fps) + R"(,"ip":0,"op":)" +
           std::to_string(time.frames) + R"(,"w":)" + std::to_string(lottieWidth) + R"(,"h":)" +
           std::to_string(lottieHeight) + R"(,"ddd":0)" + more + R"(,"layers":[)" + layers + "]}";
}

std::string plainFill(const std::string& color) {
    return R"({"ty":"fl",)" + fixed("c", '[' + color + ']') + ',' + fixed("o", "100") +
           R"(,"r":1})";
}

std::string gradientFill(const std::string& stops, const LottieBox& box) {
    return R"({"ty":"gf",)" + fixed("o", "100") + R"(,"r":1,"g":{"p":2,)" +
           fixed("k", '[' + stops + ']') + "}," + fixed("s", pair(box.left, box.top)) + ',' +
           fixed("e", pair(box.left + box.width, box.top)) + R"(,"t":1})";
}

std::string aeLayer(const std::string& name, const std::string& fill, const LottieBox& box) {
    return shapeLayer(name, fill, box, always());
}

std::string cavalryLayer(const std::string& name, const std::string& fill, const LottieBox& box) {
    return R"({"ty":4,"shapes":[)" + group(fill, box, R"(,"nm":")" + name + '"') + R"(],"ks":{)" +
           inPlace() + "}," + always() + R"(,"ind":1})";
}

std::string boxTemplate(const std::string& color, const LottieTime& time) {
    return lottieOf(aeLayer("box", plainFill(color)), "", time);
}

std::string columnsTemplate(const std::string& markers, const LottieTime& time) {
    constexpr int width = 8;
    std::string layers;
    for (int i = 0; i < time.frames; ++i) {
        if (i > 0) layers += ',';
        layers += shapeLayer("column", plainFill("1,1,1,1"), {i * width, 0, width, lottieHeight},
                             frames(i, i + 1));
    }
    return lottieOf(layers, R"(,"markers":[)" + markers + ']', time);
}

std::string lottieMarker(const std::string& name, int frame) {
    return R"({"tm":)" + std::to_string(frame) + R"(,"cm":")" + name + R"(","dr":0})";
}

std::string textTemplate(const std::string& layerName, const std::string& text) {
    const std::string layer =
        R"({"ddd":0,"ind":1,"ty":5,"nm":")" + layerName +
        R"(","sr":1,"ks":{"o":{"a":0,"k":100},)"
        R"("r":{"a":0,"k":0},"p":{"a":0,"k":[0,40]},"a":{"a":0,"k":[0,0]},)"
        R"("s":{"a":0,"k":[100,100]}},"t":{"d":{"k":[{"s":{"s":40,"f":"Letters","t":")" +
        text +
        R"(","j":0,"tr":0,"lh":48,"ls":0,"fc":[1,1,1]},"t":0}]},"p":{},)"
        R"("m":{"g":1,"a":{"a":0,"k":[0,0]}},"a":[]},)" +
        always() + '}';
    const std::string fonts =
        R"(,"fonts":{"list":[{"fName":"Letters","fFamily":"Any Family","fStyle":"Regular",)"
        R"("ascent":80}]},"chars":[)" +
        letter("A", 40) + ',' + letter("B", 160) + ']';
    return lottieOf(layer, fonts);
}

std::string imageTemplate(const std::string& layerName, const std::string& assetId,
                          const std::string& folder, const std::string& file) {
    const std::string layer = R"({"ddd":0,"ind":1,"ty":2,"nm":")" + layerName + R"(","refId":")" +
                              assetId + R"(","sr":1,"ks":{)" + inPlace() + "}," + always() + '}';
    return lottieOf(layer, R"(,"assets":[{"id":")" + assetId + R"(","w":)" +
                               std::to_string(lottieWidth) + R"(,"h":)" +
                               std::to_string(lottieHeight) + R"(,"u":")" + folder + R"(","p":")" +
                               file + R"(","e":0}])");
}

// --------------------------------------------------------------------------------------- files

std::string writeFile(const std::string& name, const std::string& bytes) {
    const std::string path = temporaryPath(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

namespace {

quol::FramePtr plainRgb(int red, int green, int blue) {
    quol::FramePtr picture = quol::makeFrame();
    picture->width = lottieWidth;
    picture->height = lottieHeight;
    picture->format = AV_PIX_FMT_RGB24;
    if (av_frame_get_buffer(picture.get(), 0) < 0) return nullptr;
    for (int y = 0; y < lottieHeight; ++y) {
        std::uint8_t* pixel =
            picture->data[0] + static_cast<std::ptrdiff_t>(y) * picture->linesize[0];
        for (int x = 0; x < lottieWidth; ++x) {
            *pixel++ = static_cast<std::uint8_t>(red);
            *pixel++ = static_cast<std::uint8_t>(green);
            *pixel++ = static_cast<std::uint8_t>(blue);
        }
    }
    return picture;
}

} // namespace

bool writePng(const std::string& path, int red, int green, int blue) {
    const quol::FramePtr picture = plainRgb(red, green, blue);
    const quol::CodecContextPtr encoder(
        avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_PNG)));
    const quol::PacketPtr packet(av_packet_alloc());
    if (!picture || !encoder || !packet) return false;
    encoder->width = picture->width;
    encoder->height = picture->height;
    encoder->pix_fmt = AV_PIX_FMT_RGB24;
    encoder->time_base = {1, 25};
    if (avcodec_open2(encoder.get(), nullptr, nullptr) < 0 ||
        avcodec_send_frame(encoder.get(), picture.get()) < 0 ||
        avcodec_send_frame(encoder.get(), nullptr) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0)
        return false;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(packet->data), packet->size);
    return file.flush().good();
}

} // namespace test

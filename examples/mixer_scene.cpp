// A C++ host that draws one scene with both of the mixer's ways to make a picture, as two PNGs: a
// background, a cropped layer, a layer with border and rounded corners, a downstream key, and an
// image with alpha.
//
//     mixer_scene BACKGROUND PICTURE LOGO MASK OUTPUT_PREFIX
//
// The first four are image files; LOGO has alpha, MASK is white where the key shows its colour.
// Exit status: 0 done, 1 no picture came or none can be written, 2 wrong use.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "PngWriter.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LSignal.h"
#include "usage.h"

namespace {

constexpr int width = 960;
constexpr int height = 540;

videoFormatProps formatOf(int pixelsWide, int pixelsHigh) {
    videoFormatProps format;
    format.width = pixelsWide;
    format.height = pixelsHigh;
    format.fps = 25.0;
    format.pixelFormat = 1;
    return format;
}

// A still as a source, in the size it is shown in.
void show(LSignal& signal, const std::string& image, int pixelsWide, int pixelsHigh) {
    signal.setVideoFormat(formatOf(pixelsWide, pixelsHigh));
    signal.setImage(image);
    signal.Start();
}

void build(LMixer& mixer, LSignal& background, LSignal& picture, LSignal& colour, LSignal& mask,
           const std::string& logo) {
    mixer.setVideoFormat(formatOf(width, height));
    mixer.addLayer("1 background", &background, 0);
    mixer.addLayer("2 cropped", &picture, 1, 40.0F, 40.0F, 255, 384.0F, 216.0F, 20.0F, 60.0F, 90.0F,
                   30.0F, 0, "#FFFFFF", false, 100);
    mixer.addLayer("3 framed", &picture, 2, 500.0F, 60.0F, 235, 400.0F, 225.0F, 0.0F, 0.0F, 0.0F,
                   0.0F, 8, "#FFC020", false, 100);
    mixer.setLayerBorderRadius("3 framed", 15);
    mixer.addDSK("4 key", &colour, &mask, 3, 0.0F, 0.0F, 255, width, height);
    mixer.addImage("5 logo", logo, 4, 60.0F, 330.0F, 255, 220.0F, 100.0F);
}

// What the mixer shows when all its layers have arrived; empty when nothing comes.
LFrame::Video seen(LMixer& mixer) {
    LFrame tap;
    LFrame::Video video;
    tap.readerObject(&mixer);
    // OpenGL on the main processor takes its time for the first pictures.
    for (int tries = 0; tries < 50; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        video = tap.getVideo();
        if (tries >= 20 && !video.rgba.empty()) break;
    }
    tap.readerObject(nullptr);
    return video;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        return tell_usage(argc, argv, "BACKGROUND PICTURE LOGO MASK OUTPUT_PREFIX",
                          "draw one scene with both of the mixer's ways to make a picture");
    }
    LSignal background;
    LSignal picture;
    LSignal colour;
    LSignal mask;
    show(background, argv[1], width, height);
    show(picture, argv[2], 768, 432);
    show(mask, argv[4], width, height);
    colour.setVideoFormat(formatOf(width, height));
    colour.setColor("#1060C0");
    colour.Start();
    for (const auto& [renderer, name] : {std::pair(LMixer::Renderer::processor, "processor"),
                                         {LMixer::Renderer::graphics, "graphics"}}) {
        LMixer mixer(renderer);
        build(mixer, background, picture, colour, mask, argv[3]);
        const LFrame::Video video = seen(mixer);
        if (video.rgba.empty()) return 1;
        const std::string path = std::string(argv[5]) + name + ".png";
        if (!writePng(
                path, width, height,
                scaleToRgb(video.rgba, video.width, video.height, video.stride, width, height)))
            return 1;
        std::printf("wrote %s\n", path.c_str());
    }
    return 0;
}

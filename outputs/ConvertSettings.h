// What a conversion is asked to make.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "quolsdk/formats.h"

namespace quol {

struct ConvertSettings {
    std::string container = "mp4"; // muxer; empty: by the file's ending
    std::string videoCodec = "libx264";
    std::string audioCodec = "aac";
    int videoBitrate = 15000; // kilobits a second
    int audioBitrate = 128;   // kilobits a second
    videoFormatProps videoFormat;
    audioFormatProps audioFormat;
    std::map<std::string, std::string> options; // for the video encoder
    std::string filePath;
    std::vector<std::string> inputFiles; // in their order

    ConvertSettings() {
        videoFormat.width = 1920;
        videoFormat.height = 1080;
        videoFormat.fps = 25.0;
        audioFormat.bitsPerSample = 16;
        audioFormat.sampleRate = 48000;
        audioFormat.channels = 2;
    }
};

} // namespace quol

#include "core/FilterText.h"

#include <algorithm>

#include "core/ModeTables.h"

namespace quol {

namespace {

std::string explicitScale(const std::string& type, int width, int height) {
    const std::string w = std::to_string(width);
    const std::string h = std::to_string(height);
    const std::string size = "scale=w=" + w + ":h=" + h;
    if (type == "letter-box") {
        return size + ":force_original_aspect_ratio=decrease,pad=w=" + w + ":h=" + h +
               ":x=(ow-iw)/2:y=(oh-ih)/2,setsar=1";
    }
    if (type == "crop") {
        return size + ":force_original_aspect_ratio=increase,crop=w=" + w + ":h=" + h + ",setsar=1";
    }
    return size + ",setsar=1";
}

std::string automaticScale(const std::string& type) {
    const std::string square = "scale=w='round(iw*sar/2)*2':h='round(ih/2)*2',";
    if (type == "letter-box") {
        return square + R"(pad=w='round(max(iw\,ih*(16/9))/2)*2')"
                        R"(:h='round(max(ih\,iw*(9/16))/2)*2')"
                        ":x='(ow-iw)/2':y='(oh-ih)/2',setsar=1";
    }
    if (type == "crop") {
        return square + R"(crop=w='round(min(iw\,ih*(16/9))/2)*2')"
                        R"(:h='round(min(ih\,iw*(9/16))/2)*2',setsar=1)";
    }
    return square + "setsar=1";
}

} // namespace

std::string videoChainText(const VideoChain& chain) {
    const videoFormatProps& format = chain.format;
    const bool sized = format.mode != modeNative && format.width >= 1 && format.height >= 1;
    const bool wanted = chain.hasFilter || format.pixelFormat != 0 || chain.deinterlace;
    if (!sized && !wanted) return {};

    std::string text = sized ? explicitScale(chain.scaleType, format.width, format.height)
                             : automaticScale(chain.scaleType);
    if (sized && format.fps > 0.0) {
        const double thousandths = std::min(format.fps * 1000, double{INT32_MAX});
        text += ",fps=" + std::to_string(static_cast<int>(thousandths)) + "/1000";
    }
    text += pixelFormatFilter(format.pixelFormat);
    if (chain.deinterlace) text.insert(0, "bwdif=mode=0:parity=-1:deint=1,");
    if (chain.hasFilter) text += ',' + chain.filter;
    return text;
}

std::string audioChainText(const AudioChain& chain) {
    std::string text = "anull";
    if (chain.delayMs >= 1) {
        const std::string delay = std::to_string(chain.delayMs) + "ms";
        text = "adelay=delays=" + delay + '|' + delay;
    }
    if (chain.format.sampleRate > 0) {
        text = text == "anull" ? std::string{} : text + ',';
        text += "aresample=sample_rate=" +
                std::to_string(std::min(chain.format.sampleRate, maxSampleRate));
    }
    if (chain.hasFilter) text += ',' + chain.filter;
    return text;
}

} // namespace quol

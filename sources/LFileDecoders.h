// What an LFile has open.
#pragma once

#include "core/MediaInput.h"
#include "quolsdk/LFile.h"

struct LFile::Decoders {
    quol::MediaInput formatContext;
    quol::CodecContextPtr videoCodecContext; // null without a picture
    quol::CodecContextPtr audioCodecContext; // null without sound
    int videoStreamIndex = -1;
    int audioStreamIndex = -1;

    // Packets of no use are not even read where the demuxer can help it.
    void discardUnused();
};

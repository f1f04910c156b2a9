// What a multiview knows of one of its tiles.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "compositing/MultiviewLayout.h"
#include "compositing/MultiviewSink.h"
#include "quolsdk/LMultiview.h"

struct LMultiview::GridCell {
    LObject* source = nullptr; // not owned; `sink` is attached to it
    std::unique_ptr<MultiviewSink> sink;
    quol::TilePlace place;
    int tally = 0; // 0 none, 1 preview, 2 program
    std::string name;

    float seam = 0.0F;    // of the layout the place comes from
    std::uint64_t id = 0; // what the renderer keeps for the tile goes by it
    quol::FramePtr frame; // the latest that came
};

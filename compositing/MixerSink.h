// The private sink of a mixer's layer.
#pragma once

#include "compositing/CompositorSink.h"

class MixerSink final : public quol::CompositorSink {
public:
    using CompositorSink::CompositorSink;
};

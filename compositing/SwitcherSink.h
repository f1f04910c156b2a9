// The private sink of a switcher's inputs.
#pragma once

#include "compositing/CompositorSink.h"

class SwitcherSink final : public quol::CompositorSink {
public:
    using CompositorSink::CompositorSink;
};

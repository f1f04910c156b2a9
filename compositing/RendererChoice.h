// What a compositor draws with.
#pragma once

#include "compositing/LayerRenderer.h"
#include "core/Log.h"

namespace quol {

// By OpenGL where the host's choice asks for it and it can be had, else on the main processor. That
// the graphics processor cannot be had is told in one line. `Choice` is the compositor's
// enumeration: automatic, processor, graphics.
template <typename Choice, typename MakeGraphics, typename MakeProcessor>
auto chooseRenderer(Choice choice, const char* failedLine, MakeGraphics makeGraphics,
                    MakeProcessor makeProcessor) {
    if (choice != Choice::processor) {
        auto graphics = makeGraphics(choice == Choice::graphics ? GraphicsDriver::any
                                                                : GraphicsDriver::hardware);
        if (graphics) return graphics;
        logError("%s", failedLine);
    }
    return makeProcessor();
}

} // namespace quol

// A preview for a toolkit that paints its windows by itself.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/window/OffscreenTarget.h"
#include "quolsdk/LPreview.h"
#include "quolsdk/export.h"

namespace quol {

struct ToolkitPreview {
    // Makes the place for the pictures in the toolkit's window. Called by previewEnable, on its
    // thread; null where the window is none that pictures can be placed in.
    std::function<std::shared_ptr<OffscreenTarget>(void* nativeWindow)> makeTarget;
    std::string readyLine; // told when there are pictures to come
    std::string failedLine;
};

// All of the preview but the place: what the built-in one does, into that. Owned by the caller. The
// one function that the toolkits' libraries use of this library.
QUOLSDK_API LPreview::Impl* makeToolkitPreview(ToolkitPreview toolkit);

} // namespace quol

#include "outputs/ToolkitPreview.h"

#include <utility>

#include "outputs/LPreviewWin32Impl.h"
#include "platform/window/OffscreenSurface.h"

namespace quol {

LPreview::Impl* makeToolkitPreview(ToolkitPreview toolkit) {
    auto make =
        [place = std::move(toolkit.makeTarget)](void* window) -> std::unique_ptr<PreviewSurface> {
        std::shared_ptr<OffscreenTarget> target = place(window);
        return target ? std::make_unique<OffscreenSurface>(std::move(target)) : nullptr;
    };
    return new LPreviewWin32Impl(
        {std::move(make), std::move(toolkit.readyLine), std::move(toolkit.failedLine)});
}

} // namespace quol

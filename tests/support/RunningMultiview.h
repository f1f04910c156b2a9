// What the tests of the multiview share: one on the main processor with a sink on it.
#pragma once

#include <string>

#include "core/Handles.h"
#include "quolsdk/LMultiview.h"
#include "support/CollectingSink.h"
#include "support/RunningMixer.h"

namespace test {

// Where a tile lies in the multiviews of these tests, and what is seen in its middle when it is
// black.
constexpr Levels wallBlack{0, 128, 128};

// What a level of limited range becomes in the wall's full range.
Levels onWall(const Levels& levels);

// A multiview with a small picture. Sources are to be made before it.
class RunningMultiview {
public:
    explicit RunningMultiview(int width = 192, int height = 108, double fps = 50.0,
                              LMultiview::Renderer renderer = LMultiview::Renderer::processor);
    ~RunningMultiview();
    RunningMultiview(const RunningMultiview&) = delete;
    RunningMultiview& operator=(const RunningMultiview&) = delete;

    // A picture that was begun after the call; null when none comes.
    quol::FramePtr nextPicture();

    // Waits until a picture has these levels there, one off at the most; false when none comes.
    bool shows(int x, int y, const Levels& levels);

    // What getLayoutInfo says of a key; an empty key where there is no such tile.
    LMultiview::LayoutInfo tile(const std::string& key);

    LMultiview multiview;
    CollectingSink sink;
};

// Asks for pictures as a registered consumer does.
class MultiviewConsumer {
public:
    explicit MultiviewConsumer(LMultiview& multiview) : multiview_(multiview) {
        multiview_.addPullConsumer();
    }
    ~MultiviewConsumer() { multiview_.removePullConsumer(); }
    MultiviewConsumer(const MultiviewConsumer&) = delete;
    MultiviewConsumer& operator=(const MultiviewConsumer&) = delete;

    quol::FramePtr ask() { return quol::FramePtr(multiview_.renderVideoFrame()); }
    // One that is sure to come, however busy the machine is; null after a long time.
    quol::FramePtr picture();

private:
    LMultiview& multiview_;
};

} // namespace test

// The engine that draws Lottie templates, and all that is known of it here.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "graphics/LottieCheck.h"

namespace quol {

// False in a library that was built without the engine: nothing can be loaded then.
bool hasLottieEngine();

// Keeps the engine up while it lives. All of the process share one engine, and one lock around it:
// its tables of fonts and files are not made for several threads at once.
class LottieEngine {
public:
    LottieEngine();
    LottieEngine(const LottieEngine&) = delete;
    LottieEngine& operator=(const LottieEngine&) = delete;
    ~LottieEngine();

    // Makes a font file known to texts. False when the engine cannot read it.
    bool loadFont(const std::string& path);
};

// One template, ready to be drawn. Any thread, one at a time.
class LottieTemplate {
public:
    // Null for what the engine does not take for a template after all. Images of the template are
    // looked for in `resourceFolder`.
    static std::unique_ptr<LottieTemplate> load(const DrawableTemplate& text,
                                                const std::string& resourceFolder);
    LottieTemplate(const LottieTemplate&) = delete;
    LottieTemplate& operator=(const LottieTemplate&) = delete;
    ~LottieTemplate();

    float totalFrames() const { return totalFrames_; }
    float duration() const { return duration_; } // seconds

    // What is drawn from now on.
    void showFrame(float frame);

private:
    friend class LottieCanvas;
    struct Engine;

    explicit LottieTemplate(std::unique_ptr<Engine> engine);

    const std::unique_ptr<Engine> engine_;
    float totalFrames_ = 0.0F;
    float duration_ = 0.0F;
};

// The pixels to draw into: 32-bit words, `stride` of them from row to row.
struct LottieArea {
    int width = 0;
    int height = 0;
    int stride = 0;
};

// Draws templates over each other. A template must not go while it is on a canvas, nor may the last
// engine.
class LottieCanvas {
public:
    LottieCanvas();
    LottieCanvas(const LottieCanvas&) = delete;
    LottieCanvas& operator=(const LottieCanvas&) = delete;
    ~LottieCanvas();

    // These from now on, the first at the bottom. False where there is no thread to make the canvas
    // on: none of them is drawn, and the next call tries again.
    bool setTemplates(const std::vector<LottieTemplate*>& templates);

    // Draws all of them as they stand, in premultiplied ARGB, into pixels that the caller has
    // cleared. False when nothing could be drawn.
    bool draw(std::uint32_t* pixels, const LottieArea& area);

private:
    struct Engine;
    const std::unique_ptr<Engine> engine_;
};

} // namespace quol

// What a preview draws with OpenGL.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "core/Handles.h"
#include "core/Scaler.h"
#include "outputs/PreviewLook.h"
#include "outputs/PreviewMeter.h"
#include "platform/gl/EntryTable.h"
#include "platform/window/PreviewSurface.h"

namespace quol {

// One pass: what stands over the picture.
struct PreviewScene {
    Tint background{0.0F, 0.0F, 0.0F};
    bool keepsShape = false;
    std::string name;     // empty: no label
    std::string timecode; // empty: none
    StatusLook look;
    const PreviewMeter* meter = nullptr; // null: none
};

// Of the thread on which the surface's context is current, from construction to destruction.
class PreviewDrawing {
public:
    explicit PreviewDrawing(const gl::EntryTable& gl);
    PreviewDrawing(const PreviewDrawing&) = delete;
    PreviewDrawing& operator=(const PreviewDrawing&) = delete;
    ~PreviewDrawing();

    // False where the driver takes one of the programs not.
    bool isComplete() const;

    // Takes the picture into textures, where it stays until the next. One that cannot be read
    // leaves those of the last.
    void upload(const AVFrame& picture);

    void draw(const PreviewScene& scene, const SurfaceSize& surface);

private:
    // A text in a texture, and what it was made from.
    struct Plate {
        GLuint texture = 0;
        int width = 0;
        int height = 0;
        std::string text;
        PlateLook look;
        int fontHeight = 0;
    };
    struct PlaneTexture {
        GLuint texture = 0;
        int width = 0;
        int height = 0;
    };

    const AVFrame* planarOf(const AVFrame& picture);
    void uploadPlane(PlaneTexture& plane, const AVFrame& frame, int number, int width, int height);
    void drawPicture(const PictureExtent& extent);
    void addMeter(const PreviewMeter& meter);
    void addBorder(const PictureExtent& extent, const Tint& tint);
    void renderTimecode(const std::string& timecode);
    void renderLabelGL(const PreviewScene& scene);

    void fitPlate(Plate& plate, const std::string& text, const PlateLook& look, int fontHeight,
                  const char* family);
    GLuint makeDIBTexture(const std::string& text, const PlateLook& look, int fontHeight,
                          const char* family, int& width, int& height);
    void drawPlate(const Plate& plate, float left, float top);

    void addBox(const PixelBox& box, const Tint& tint);
    void drawBoxes();
    void drawQuad(const std::array<GLfloat, 8>& corners);
    float acrossOf(float x) const;
    float downOf(float y) const;

    const gl::EntryTable& gl;
    GLuint pictureProgram_ = 0;
    GLuint plateProgram_ = 0;
    GLuint boxProgram_ = 0;
    std::array<PlaneTexture, 3> planes_;
    int pictureWidth_ = 0; // of the one in the textures; 0 for none
    int pictureHeight_ = 0;
    FramePtr planar_; // what another format is converted into
    Scaler scaler_;
    std::vector<std::uint8_t> rows_;
    Plate label_;
    Plate timecode_;
    std::vector<GLfloat> boxes_; // of the pass: place and colour of each corner
    SurfaceSize surface_;        // of the pass
};

} // namespace quol

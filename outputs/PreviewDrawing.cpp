#include "outputs/PreviewDrawing.h"

#include <cmath>

#include "core/FrameRows.h"
#include "core/PictureCheck.h"
#include "core/PicturePool.h"
#include "outputs/PreviewShaders.h"
#include "outputs/PreviewText.h"
#include "platform/gl/Drawing.h"

namespace quol {

namespace {

// Where the program of the boxes finds their colour, behind the position.
constexpr GLuint colorAttribute = 1;

constexpr GLsizei floatsOfCorner = 6; // x, y, red, green, blue, alpha

bool goesStraightOn(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

} // namespace

PreviewDrawing::PreviewDrawing(const gl::EntryTable& entries)
    : gl(entries),
      pictureProgram_(gl::linkQuadProgram(gl, previewPictureShader)),
      plateProgram_(gl::linkQuadProgram(gl, previewPlateShader)),
      boxProgram_(
          linkProgram(gl, previewBoxVertexShader, previewBoxShader, {"position", "color"})) {}

PreviewDrawing::~PreviewDrawing() {
    const std::array<GLuint, 5> textures{planes_[0].texture, planes_[1].texture, planes_[2].texture,
                                         label_.texture, timecode_.texture};
    gl.DeleteTextures(static_cast<GLsizei>(textures.size()), textures.data()); // 0 is passed over
    gl.UseProgram(0);
    for (const GLuint program : {pictureProgram_, plateProgram_, boxProgram_})
        gl.DeleteProgram(program);
}

bool PreviewDrawing::isComplete() const {
    return pictureProgram_ != 0 && plateProgram_ != 0 && boxProgram_ != 0;
}

// ------------------------------------------------------------------------------- the picture

void PreviewDrawing::upload(const AVFrame& picture) {
    if (!isReadablePicture(picture)) return;
    const AVFrame* const planar = planarOf(picture);
    if (planar == nullptr) return;
    pictureWidth_ = planar->width;
    pictureHeight_ = planar->height;
    const int chromaWidth = (pictureWidth_ + 1) / 2;
    const int chromaHeight = (pictureHeight_ + 1) / 2;
    gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
    uploadPlane(planes_[0], *planar, 0, pictureWidth_, pictureHeight_);
    uploadPlane(planes_[1], *planar, 1, chromaWidth, chromaHeight);
    uploadPlane(planes_[2], *planar, 2, chromaWidth, chromaHeight);
    gl.PixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

const AVFrame* PreviewDrawing::planarOf(const AVFrame& picture) {
    if (goesStraightOn(picture.format)) return &picture;
    if (!planar_ || planar_->width != picture.width || planar_->height != picture.height) {
        planar_ = PicturePool().get(picture.width, picture.height, AV_PIX_FMT_YUV420P);
        if (!planar_) return nullptr;
    }
    return scaler_.scale(picture, *planar_, SWS_BILINEAR) ? planar_.get() : nullptr;
}

// A texture of the same size takes the new picture into its own memory.
void PreviewDrawing::uploadPlane(PlaneTexture& plane, const AVFrame& frame, int number, int width,
                                 int height) {
    if (plane.texture == 0) {
        plane.texture = gl::makeTexture(gl);
    } else {
        gl.BindTexture(GL_TEXTURE_2D, plane.texture);
    }
    const std::uint8_t* samples = frame.data[number];
    int stride = frame.linesize[number];
    if (stride < width) { // it stands upside down in memory
        samples = straightRows(samples, stride, width, height, rows_);
        stride = width;
    }
    gl.PixelStorei(GL_UNPACK_ROW_LENGTH, stride);
    if (plane.width == width && plane.height == height) {
        gl.TexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                         samples);
        return;
    }
    gl.TexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, width, height, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                  samples);
    plane.width = width;
    plane.height = height;
}

void PreviewDrawing::draw(const PreviewScene& scene, const SurfaceSize& surface) {
    surface_ = surface;
    gl.Viewport(0, 0, surface.width, surface.height);
    gl.ClearColor(scene.background.red, scene.background.green, scene.background.blue, 1.0F);
    gl.Clear(GL_COLOR_BUFFER_BIT);
    gl.Disable(GL_BLEND);
    const PictureExtent extent =
        extentOf(surface.width, surface.height, pictureWidth_, pictureHeight_, scene.keepsShape);
    if (pictureWidth_ > 0) drawPicture(extent);
    gl.Enable(GL_BLEND);
    // The surface stays opaque: in a window with an alpha channel the desktop would shine through.
    gl.BlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE);
    boxes_.clear();
    if (scene.meter != nullptr) addMeter(*scene.meter);
    if (scene.look.border) addBorder(extent, *scene.look.border);
    drawBoxes();
    if (!scene.timecode.empty()) renderTimecode(scene.timecode);
    if (!scene.name.empty()) renderLabelGL(scene);
}

void PreviewDrawing::drawPicture(const PictureExtent& extent) {
    gl.UseProgram(pictureProgram_);
    constexpr std::array<const char*, 3> names{"texY", "texU", "texV"};
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        gl.ActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + i));
        gl.BindTexture(GL_TEXTURE_2D, planes_[i].texture);
        gl.Uniform1i(gl.GetUniformLocation(pictureProgram_, names[i]), static_cast<GLint>(i));
    }
    gl.ActiveTexture(GL_TEXTURE0);
    const float x = extent.halfWidth;
    const float y = extent.halfHeight;
    drawQuad({-x, y, x, y, x, -y, -x, -y});
}

// Corners clockwise from the top left one, which gets row 0.
void PreviewDrawing::drawQuad(const std::array<GLfloat, 8>& corners) {
    constexpr std::array<GLfloat, 8> texCoords{0, 0, 1, 0, 1, 1, 0, 1};
    gl::drawQuad(gl, corners.data(), texCoords.data());
}

// ---------------------------------------------------------------------- meter and border: boxes

void PreviewDrawing::addMeter(const PreviewMeter& meter) {
    const MeterPlace place = placeMeter(surface_.width, surface_.height);
    addBox(place.panel, meterPanel);
    const std::array<const MeterLevel*, 2> levels{&meter.left, &meter.right};
    for (std::size_t channel = 0; channel < levels.size(); ++channel) {
        const int lit = levels[channel]->litSegments();
        const int held = levels[channel]->heldSegment();
        for (int segment = 0; segment < MeterLevel::segments; ++segment) {
            const float bottom = place.bottom - place.segmentPitch * static_cast<float>(segment);
            addBox({place.columnLeft[channel], bottom - place.segmentHeight,
                    place.columnLeft[channel] + place.columnWidth, bottom},
                   segmentTint(segment, segment < lit || segment == held));
        }
    }
}

// Inside the edge: half of a line along it would be lost where the picture fills the surface.
void PreviewDrawing::addBorder(const PictureExtent& extent, const Tint& tint) {
    const auto width = static_cast<float>(surface_.width);
    const auto height = static_cast<float>(surface_.height);
    const float left = (1.0F - extent.halfWidth) / 2 * width;
    const float top = (1.0F - extent.halfHeight) / 2 * height;
    const float right = width - left;
    const float bottom = height - top;
    const auto line = static_cast<float>(borderWidth(surface_.height));
    addBox({left, top, right, top + line}, tint);
    addBox({left, bottom - line, right, bottom}, tint);
    addBox({left, top + line, left + line, bottom - line}, tint);
    addBox({right - line, top + line, right, bottom - line}, tint);
}

void PreviewDrawing::addBox(const PixelBox& box, const Tint& tint) {
    const float left = acrossOf(box.left);
    const float right = acrossOf(box.right);
    const float top = downOf(box.top);
    const float bottom = downOf(box.bottom);
    const std::array<std::array<float, 2>, 6> corners{
        {{left, top}, {right, top}, {right, bottom}, {left, top}, {right, bottom}, {left, bottom}}};
    for (const auto& [x, y] : corners)
        boxes_.insert(boxes_.end(), {x, y, tint.red, tint.green, tint.blue, tint.alpha});
}

void PreviewDrawing::drawBoxes() {
    if (boxes_.empty()) return;
    constexpr GLsizei stride = floatsOfCorner * static_cast<GLsizei>(sizeof(GLfloat));
    gl.UseProgram(boxProgram_);
    gl.EnableVertexAttribArray(gl::positionAttribute);
    gl.EnableVertexAttribArray(colorAttribute);
    gl.VertexAttribPointer(gl::positionAttribute, 2, GL_FLOAT, GL_FALSE, stride, boxes_.data());
    gl.VertexAttribPointer(colorAttribute, 4, GL_FLOAT, GL_FALSE, stride, boxes_.data() + 2);
    gl.DrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(boxes_.size()) / floatsOfCorner);
    gl.DisableVertexAttribArray(gl::positionAttribute);
    gl.DisableVertexAttribArray(colorAttribute);
}

float PreviewDrawing::acrossOf(float x) const {
    return 2.0F * x / static_cast<float>(surface_.width) - 1.0F;
}

float PreviewDrawing::downOf(float y) const {
    return 1.0F - 2.0F * y / static_cast<float>(surface_.height);
}

// ------------------------------------------------------------------------------------- texts

void PreviewDrawing::renderTimecode(const std::string& timecode) {
    fitPlate(timecode_, "TC:" + timecode, timecodePlate, timecodeFontHeight(surface_.height),
             "Courier New");
    const auto margin = static_cast<float>(std::lround(labelDistance(surface_.height) / 2));
    drawPlate(timecode_, margin, margin);
}

void PreviewDrawing::renderLabelGL(const PreviewScene& scene) {
    fitPlate(label_, scene.name, scene.look.plate, labelFontHeight(surface_.height), "Arial");
    const int left = (surface_.width - label_.width) / 2;
    const auto bottom =
        surface_.height - static_cast<int>(std::lround(labelDistance(surface_.height)));
    drawPlate(label_, static_cast<float>(left), static_cast<float>(bottom - label_.height));
}

void PreviewDrawing::fitPlate(Plate& plate, const std::string& text, const PlateLook& look,
                              int fontHeight, const char* family) {
    const bool stands = plate.texture != 0 && plate.text == text &&
                        plate.fontHeight == fontHeight && plate.look == look;
    if (stands) return;
    if (plate.texture != 0) gl.DeleteTextures(1, &plate.texture);
    plate.texture = makeDIBTexture(text, look, fontHeight, family, plate.width, plate.height);
    plate.text = text;
    plate.look = look;
    plate.fontHeight = fontHeight;
}

GLuint PreviewDrawing::makeDIBTexture(const std::string& text, const PlateLook& look,
                                      int fontHeight, const char* family, int& width, int& height) {
    const TextPlate drawn = drawTextPlate(text, look, fontHeight, family);
    width = drawn.width;
    height = drawn.height;
    if (drawn.rgba.empty()) return 0;
    gl.ActiveTexture(GL_TEXTURE0);
    const GLuint texture = gl::makeTexture(gl);
    gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gl.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                  drawn.rgba.data());
    return texture;
}

void PreviewDrawing::drawPlate(const Plate& plate, float left, float top) {
    if (plate.texture == 0) return;
    gl.UseProgram(plateProgram_);
    gl.ActiveTexture(GL_TEXTURE0);
    gl.BindTexture(GL_TEXTURE_2D, plate.texture);
    gl.Uniform1i(gl.GetUniformLocation(plateProgram_, "texPlate"), 0);
    const float x0 = acrossOf(left);
    const float x1 = acrossOf(left + static_cast<float>(plate.width));
    const float y0 = downOf(top);
    const float y1 = downOf(top + static_cast<float>(plate.height));
    drawQuad({x0, y0, x1, y0, x1, y1, x0, y1});
}

} // namespace quol

// Pictures made by OpenGL.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "compositing/LayerRenderer.h"
#include "compositing/MixerShaders.h"
#include "core/FrameRows.h"
#include "core/Log.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "platform/gl/Drawing.h"
#include "platform/gl/HeadlessContext.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace quol {

namespace {

using gl::EntryTable;

constexpr int bytesPerPixel = 4; // of RGBA

// The next even number; of the largest of all none that a picture can have.
int evenSize(int size) {
    return static_cast<int>((static_cast<unsigned>(size) + 1U) / 2U * 2U);
}

bool isPlanarWithAlpha(int format) {
    return format == AV_PIX_FMT_YUVA420P || format == AV_PIX_FMT_YUVA422P;
}

bool isUploadable(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUV422P ||
           isPlanarWithAlpha(format);
}

// The picture as it goes into textures. Where there can be no scaler it is the picture itself.
const AVFrame& normalized(const AVFrame& picture, ScaledPicture& scaled) {
    if (isUploadable(picture.format)) return picture;
    const bool withAlpha = picture.format == AV_PIX_FMT_RGBA || picture.format == AV_PIX_FMT_BGRA;
    const AVFrame* const result = scaled.get(picture, picture.width, picture.height,
                                             withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
    return result != nullptr ? *result : picture;
}

struct Uniforms {
    GLint texY, texU, texV, texA, texKeyY;
    GLint isDSK, keyHasAlpha, globalAlpha, crop, resolution;
    GLint borderRadius, borderProps, borderAlpha;
};

Uniforms findUniforms(const EntryTable& gl, GLuint program) {
    const auto find = [&](const char* name) { return gl.GetUniformLocation(program, name); };
    return {find("texY"),         find("texU"),           find("texV"),
            find("texA"),         find("texKeyY"),        find("isDSK"),
            find("keyHasAlpha"),  find("globalAlpha"),    find("u_crop"),
            find("u_resolution"), find("u_borderRadius"), find("u_borderProps"),
            find("u_borderAlpha")};
}

class GraphicsRenderer final : public LayerRenderer {
public:
    explicit GraphicsRenderer(std::unique_ptr<gl::HeadlessContext> context)
        : context_(std::move(context)), gl(context_->entries()) {
        program_ = gl::linkQuadProgram(gl, layerFragmentShader);
        uniforms_ = findUniforms(gl, program_);
        makeWhiteTexture();
    }

    ~GraphicsRenderer() override {
        deleteFramebuffer();
        gl.DeleteTextures(1, &white_);
        gl.DeleteProgram(program_);
    }

    FramePtr render(const Canvas& canvas, const std::vector<RenderedLayer>& layers) override {
        if (canvas.width < 1 || canvas.height < 1 || canvas.format == AV_PIX_FMT_NONE)
            return nullptr;
        fitFramebuffer(canvas);
        beginPicture();
        for (const RenderedLayer& layer : layers)
            draw(layer);
        FramePtr picture = readBack(canvas.format);
        gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
        return picture;
    }

    void deleteTextures(const std::vector<unsigned int>& names) override {
        if (!names.empty()) gl.DeleteTextures(static_cast<GLsizei>(names.size()), names.data());
    }

    void deleteTextures(LayerTextures& textures) override {
        const std::array<GLuint, 5> names{textures.y, textures.u, textures.v, textures.a,
                                          textures.key};
        gl.DeleteTextures(static_cast<GLsizei>(names.size()), names.data()); // 0 is passed over
        textures = {};
    }

private:
    void makeWhiteTexture() {
        constexpr GLubyte level = 255;
        gl.ActiveTexture(GL_TEXTURE0);
        white_ = gl::makeTexture(gl);
        gl.TexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                      &level);
    }

    void deleteFramebuffer() {
        if (framebuffer_ != 0) gl.DeleteFramebuffers(1, &framebuffer_);
        if (colour_ != 0) gl.DeleteTextures(1, &colour_);
        framebuffer_ = 0;
        colour_ = 0;
    }

    void fitFramebuffer(const Canvas& canvas) {
        if (canvas.width == width_ && canvas.height == height_) return;
        deleteFramebuffer();
        width_ = canvas.width;
        height_ = canvas.height;
        gl.GenFramebuffers(1, &framebuffer_);
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
        gl.ActiveTexture(GL_TEXTURE0);
        colour_ = gl::makeTexture(gl);
        gl.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width_, height_, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                      nullptr);
        gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour_, 0);
        isComplete_ = gl.CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        if (!isComplete_) logError("LMixer [GPU]: Framebuffer is not complete!");
    }

    void beginPicture() {
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
        gl.Viewport(0, 0, width_, height_);
        gl.ClearColor(0.0F, 0.0F, 0.0F, 0.0F);
        gl.Clear(GL_COLOR_BUFFER_BIT);
        gl.Enable(GL_BLEND);
        gl.BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        gl.UseProgram(program_);
    }

    void draw(const RenderedLayer& layer) {
        const AVFrame& picture = normalized(*layer.picture, layer.state->picture.scaled);
        const bool keyed = layer.look.isKeyed && layer.key != nullptr;
        const AVFrame* key = keyed ? &normalized(*layer.key, layer.state->key.scaled) : nullptr;
        const PictureSize target = targetSize(layer.look, picture);
        if (target.width <= 0 || target.height <= 0) return;
        // A format that nothing converts cannot be drawn, nor be a key.
        if (!isUploadable(picture.format)) return;
        if (key != nullptr && !isUploadable(key->format)) key = nullptr;
        uploadLayer(picture, key, layer.state->textures);
        setUniforms(layer.look, target, picture, key);
        drawQuad(layer.look, target);
    }

    void uploadLayer(const AVFrame& picture, const AVFrame* key, LayerTextures& textures) {
        const int chromaWidth = (picture.width + 1) / 2;
        const bool isFullHeight =
            picture.format == AV_PIX_FMT_YUV422P || picture.format == AV_PIX_FMT_YUVA422P;
        const int chromaHeight = isFullHeight ? picture.height : (picture.height + 1) / 2;
        gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
        upload(0, textures.y, picture, 0, picture.width, picture.height);
        upload(1, textures.u, picture, 1, chromaWidth, chromaHeight);
        upload(2, textures.v, picture, 2, chromaWidth, chromaHeight);
        if (isPlanarWithAlpha(picture.format)) {
            upload(3, textures.a, picture, 3, picture.width, picture.height);
        } else {
            bindWhite(3);
        }
        if (key != nullptr) {
            upload(4, textures.key, *key, isPlanarWithAlpha(key->format) ? 3 : 0, key->width,
                   key->height);
        } else {
            bindWhite(4);
        }
        gl.PixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    }

    void bindWhite(GLenum unit) {
        gl.ActiveTexture(GL_TEXTURE0 + unit);
        gl.BindTexture(GL_TEXTURE_2D, white_);
    }

    void upload(GLenum unit, unsigned int& texture, const AVFrame& frame, int plane, int width,
                int height) {
        gl.ActiveTexture(GL_TEXTURE0 + unit);
        if (texture == 0) {
            texture = gl::makeTexture(gl);
        } else {
            gl.BindTexture(GL_TEXTURE_2D, texture);
        }
        const int stride = frame.linesize[plane];
        const std::uint8_t* samples = frame.data[plane];
        // It stands upside down in memory.
        if (stride < width) samples = straightRows(samples, stride, width, height, rows_);
        gl.PixelStorei(GL_UNPACK_ROW_LENGTH, stride < width ? width : stride);
        gl.TexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, width, height, 0, GL_LUMINANCE,
                      GL_UNSIGNED_BYTE, samples);
    }

    void setUniforms(const LayerLook& look, const PictureSize& target, const AVFrame& picture,
                     const AVFrame* key) {
        const auto pictureWidth = static_cast<float>(picture.width);
        const auto pictureHeight = static_cast<float>(picture.height);
        gl.Uniform1i(uniforms_.texY, 0);
        gl.Uniform1i(uniforms_.texU, 1);
        gl.Uniform1i(uniforms_.texV, 2);
        gl.Uniform1i(uniforms_.texA, 3);
        gl.Uniform1i(uniforms_.texKeyY, 4);
        gl.Uniform1i(uniforms_.isDSK, key != nullptr ? 1 : 0);
        gl.Uniform1i(uniforms_.keyHasAlpha,
                     key != nullptr && isPlanarWithAlpha(key->format) ? 1 : 0);
        gl.Uniform1f(uniforms_.globalAlpha, level(look.alpha));
        gl.Uniform4f(uniforms_.crop, look.cropLeft / pictureWidth, look.cropTop / pictureHeight,
                     look.cropRight / pictureWidth, look.cropBottom / pictureHeight);
        gl.Uniform2f(uniforms_.resolution, static_cast<float>(target.width),
                     static_cast<float>(target.height));
        gl.Uniform1f(uniforms_.borderRadius, graphicsRadius(target, look.borderRadius));
        gl.Uniform4f(uniforms_.borderProps, static_cast<float>(look.borderThickness),
                     static_cast<float>(look.borderColor.red) / 255.0F,
                     static_cast<float>(look.borderColor.green) / 255.0F,
                     static_cast<float>(look.borderColor.blue) / 255.0F);
        gl.Uniform1f(uniforms_.borderAlpha, level(look.borderAlpha));
    }

    // An opacity counts within its range.
    static float level(int value) { return static_cast<float>(std::clamp(value, 0, 255)) / 255.0F; }

    // Here the radius keeps its fraction: a whole product, divided in float.
    static float graphicsRadius(const PictureSize& target, int percent) {
        const std::int64_t side = std::min(target.width, target.height);
        return static_cast<float>(side * percent) / 100.0F;
    }

    void drawQuad(const LayerLook& look, const PictureSize& target) {
        const auto acrossOf = [this](int x) {
            return 2.0F * static_cast<float>(x) / static_cast<float>(width_) - 1.0F;
        };
        const auto downOf = [this](int y) {
            return 2.0F * static_cast<float>(y) / static_cast<float>(height_) - 1.0F;
        };
        const float left = acrossOf(look.x);
        const float right = acrossOf(look.x + target.width);
        const float top = downOf(look.y);
        const float bottom = downOf(look.y + target.height);
        const std::array<GLfloat, 8> corners{left, top, right, top, right, bottom, left, bottom};
        constexpr std::array<GLfloat, 8> texCoords{0, 0, 1, 0, 1, 1, 0, 1};
        gl::drawQuad(gl, corners.data(), texCoords.data());
    }

    // Row 0 of the framebuffer is the top row of the picture: nothing is turned over.
    FramePtr readBack(AVPixelFormat format) {
        if (format != AV_PIX_FMT_RGBA) return converted(format);
        FramePtr picture = pool_.get(width_, height_, format);
        if (picture) readPixels(*picture);
        return picture;
    }

    void readPixels(AVFrame& rgba) {
        if (!isComplete_) {
            // Nothing would be written.
            std::memset(
                rgba.data[0], 0,
                static_cast<std::size_t>(rgba.linesize[0]) * static_cast<std::size_t>(height_));
            return;
        }
        gl.PixelStorei(GL_PACK_ALIGNMENT, 1);
        gl.PixelStorei(GL_PACK_ROW_LENGTH, rgba.linesize[0] / bytesPerPixel);
        gl.ReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data[0]);
        gl.PixelStorei(GL_PACK_ROW_LENGTH, 0);
    }

    // Planar 4:2:0 goes out in full range. Of an odd size swscale would make the last column of
    // chroma half from what lies behind the picture, so the last pixels are converted twice.
    FramePtr converted(AVPixelFormat format) {
        const FramePtr rgba = rgbaPool_.get(evenSize(width_), evenSize(height_), AV_PIX_FMT_RGBA);
        FramePtr picture = pool_.get(evenSize(width_), evenSize(height_), format);
        if (!rgba || !picture) return nullptr;
        readPixels(*rgba);
        repeatLastPixels(*rgba);
        const ScalerKey key{rgba->width,     rgba->height,    rgba->format, picture->width,
                            picture->height, picture->format, SWS_BILINEAR};
        if (!scaler_.prepare(key)) return nullptr;
        if (format == AV_PIX_FMT_YUV420P) scaler_.setFullRangeOutput();
        if (!scaler_.run(*rgba, picture->data, picture->linesize)) return nullptr;
        picture->width = width_;
        picture->height = height_;
        return picture;
    }

    // Into the column and the row that an odd size is converted with.
    void repeatLastPixels(AVFrame& rgba) const {
        const auto stride = static_cast<std::size_t>(rgba.linesize[0]);
        const std::size_t length = static_cast<std::size_t>(width_) * bytesPerPixel;
        if (rgba.width != width_) {
            for (int row = 0; row < height_; ++row) {
                std::uint8_t* const behind =
                    rgba.data[0] + static_cast<std::size_t>(row) * stride + length;
                std::memcpy(behind, behind - bytesPerPixel, bytesPerPixel);
            }
        }
        if (rgba.height != height_) {
            std::uint8_t* const behind = rgba.data[0] + static_cast<std::size_t>(height_) * stride;
            std::memcpy(behind, behind - stride, stride);
        }
    }

    const std::unique_ptr<gl::HeadlessContext> context_;
    const EntryTable& gl;
    GLuint program_ = 0;
    Uniforms uniforms_{};
    GLuint white_ = 0;
    GLuint framebuffer_ = 0;
    GLuint colour_ = 0;
    bool isComplete_ = false;
    int width_ = 0; // of the framebuffer
    int height_ = 0;
    std::vector<std::uint8_t> rows_;
    PicturePool pool_;
    PicturePool rgbaPool_;
    Scaler scaler_;
};

} // namespace

std::unique_ptr<LayerRenderer> makeGraphicsRenderer(GraphicsDriver driver) {
    auto context = gl::HeadlessContext::make(
        driver == GraphicsDriver::hardware ? gl::Driver::hardware : gl::Driver::any);
    if (!context) return nullptr;
    return std::make_unique<GraphicsRenderer>(std::move(context));
}

} // namespace quol

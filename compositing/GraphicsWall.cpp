// Walls drawn by OpenGL.
#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "compositing/AxisFilter.h"
#include "compositing/LabelAtlas.h"
#include "compositing/PictureLimits.h"
#include "compositing/TileInk.h"
#include "compositing/TileTextures.h"
#include "compositing/Wall.h"
#include "compositing/WallShaders.h"
#include "core/Log.h"
#include "core/PicturePool.h"
#include "platform/gl/Drawing.h"
#include "platform/gl/HeadlessContext.h"

namespace quol {

namespace {

using gl::EntryTable;

// What is kept for a tile from one wall to the next.
struct KeptTile {
    KeptTile(const EntryTable& entries, int longestSide) : textures(entries, longestSide) {}

    TileTextures textures;
    bool isSeen = false;
};

// The program of one kind of picture, and where its inputs are.
struct PictureProgram {
    GLuint name = 0;
    GLint pixel = -1;
    GLint samples = -1;
    std::array<GLint, TileTextures::mostPlanes> textures{};
    GLint width = -1;
    GLint height = -1;
};

struct BoxProgram {
    GLuint name = 0;
    GLint size = -1;
    GLint radius = -1;
    GLint color = -1;
    GLint edge = -1;
    GLint edgeWidth = -1;
};

struct TextProgram {
    GLuint name = 0;
    GLint font = -1;
    GLint color = -1;
};

// One of the planes of the finished picture.
struct OutputPlane {
    GLuint program = 0;
    GLint picture = -1;
    GLuint framebuffer = 0;
    GLuint texture = 0;
    int width = 0;
    int height = 0;
};

class GraphicsWall final : public WallRenderer {
public:
    explicit GraphicsWall(std::unique_ptr<gl::HeadlessContext> context)
        : context_(std::move(context)), gl(context_->entries()) {
        gl.GetIntegerv(GL_MAX_TEXTURE_SIZE, &longestSide_);
        makePrograms();
        gl.ActiveTexture(GL_TEXTURE0);
        makeWhiteTexture();
        makeFontTexture();
    }

    ~GraphicsWall() override {
        tiles_.clear();
        deleteFramebuffers();
        gl.DeleteTextures(1, &white_);
        gl.DeleteTextures(1, &font_);
        for (const PictureProgram& program : picturePrograms_)
            gl.DeleteProgram(program.name);
        gl.DeleteProgram(box_.name);
        gl.DeleteProgram(text_.name);
        for (const OutputPlane& plane : outputs_)
            gl.DeleteProgram(plane.program);
    }

    FramePtr render(const Wall& wall) override {
        if (!canBeMade(wall.width, wall.height)) return nullptr;
        dropTilesThatAreGone(wall);
        fitFramebuffers(wall);
        if (!isComplete_) return fallback(wall);
        beginPicture();
        for (const WallTile& tile : wall.tiles)
            drawTile(tile);
        gl.Disable(GL_BLEND);
        FramePtr picture =
            pool_.get((width_ + 1) / 2 * 2, (height_ + 1) / 2 * 2, AV_PIX_FMT_YUV420P);
        if (picture) readBack(*picture);
        gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
        return picture;
    }

private:
    void makePrograms() {
        const auto program = [this](const char* fragment) {
            return gl::linkQuadProgram(gl, fragment);
        };
        const auto find = [this](GLuint name, const char* uniform) {
            return gl.GetUniformLocation(name, uniform);
        };
        const auto pictureProgram = [&](const char* fragment, std::array<const char*, 4> textures) {
            PictureProgram made;
            made.name = program(fragment);
            made.pixel = find(made.name, "u_pixel");
            made.samples = find(made.name, "u_samples");
            made.width = find(made.name, "u_width");
            made.height = find(made.name, "u_height");
            for (std::size_t i = 0; i < textures.size(); ++i)
                made.textures[i] = find(made.name, textures[i]);
            return made;
        };
        // A name that a program lacks is found nowhere, and setting it does nothing.
        picturePrograms_ = {pictureProgram(wallYuvShader, {"texY", "texU", "texV", "texA"}),
                            pictureProgram(wallUyvyShader, {"texUYVY", "", "", ""}),
                            pictureProgram(wallRgbShader, {"texRGB", "", "", ""})};
        box_.name = program(wallBoxShader);
        box_.size = find(box_.name, "u_size");
        box_.radius = find(box_.name, "u_radius");
        box_.color = find(box_.name, "u_bgColor");
        box_.edge = find(box_.name, "u_borderColor");
        box_.edgeWidth = find(box_.name, "u_borderWidth");
        text_.name = program(wallTextShader);
        text_.font = find(text_.name, "texFont");
        text_.color = find(text_.name, "u_textColor");
        const std::array<const char*, 3> planes{wallOutputY, wallOutputU, wallOutputV};
        for (std::size_t i = 0; i < planes.size(); ++i) {
            outputs_[i].program = program(planes[i]);
            outputs_[i].picture = find(outputs_[i].program, "texRGB");
        }
    }

    // ------------------------------------------------------------------------------ textures
    void makeWhiteTexture() {
        constexpr GLubyte level = 255;
        white_ = gl::makeTexture(gl);
        gl.TexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                      &level);
    }

    void makeFontTexture() {
        const LabelAtlas& atlas = labelAtlas();
        font_ = gl::makeTexture(gl);
        gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
        gl.PixelStorei(GL_UNPACK_ROW_LENGTH, atlas.stride() / 4);
        gl.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, LabelAtlas::size, LabelAtlas::size, 0, GL_BGRA,
                      GL_UNSIGNED_BYTE, atlas.pixels());
        gl.PixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    }

    void dropTilesThatAreGone(const Wall& wall) {
        for (auto& [id, tile] : tiles_)
            tile.isSeen = false;
        for (const WallTile& tile : wall.tiles)
            tiles_.try_emplace(tile.id, gl, longestSide_).first->second.isSeen = true;
        std::erase_if(tiles_, [](const auto& tile) { return !tile.second.isSeen; });
    }

    // --------------------------------------------------------------------------- framebuffers
    void deleteFramebuffers() {
        const auto drop = [this](GLuint& framebuffer, GLuint& texture) {
            if (framebuffer != 0) gl.DeleteFramebuffers(1, &framebuffer);
            if (texture != 0) gl.DeleteTextures(1, &texture);
            framebuffer = 0;
            texture = 0;
        };
        drop(framebuffer_, colour_);
        for (OutputPlane& plane : outputs_)
            drop(plane.framebuffer, plane.texture);
    }

    // True when it can be drawn into.
    bool makeFramebuffer(GLuint& framebuffer, GLuint& texture, int width, int height,
                         GLint internalFormat) {
        gl.GenFramebuffers(1, &framebuffer);
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        texture = gl::makeTexture(gl);
        gl.TexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                      nullptr);
        gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        return gl.CheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    }

    void fitFramebuffers(const Wall& wall) {
        if (wall.width == width_ && wall.height == height_) return;
        deleteFramebuffers();
        width_ = wall.width;
        height_ = wall.height;
        gl.ActiveTexture(GL_TEXTURE0);
        isComplete_ = makeFramebuffer(framebuffer_, colour_, width_, height_, GL_RGBA);
        for (std::size_t i = 0; i < outputs_.size() && isComplete_; ++i) {
            OutputPlane& plane = outputs_[i];
            plane.width = i == 0 ? width_ : (width_ + 1) / 2;
            plane.height = i == 0 ? height_ : (height_ + 1) / 2;
            isComplete_ =
                makeFramebuffer(plane.framebuffer, plane.texture, plane.width, plane.height, GL_R8);
        }
        if (!isComplete_) logError("LMultiview [GPU]: Framebuffer is not complete!");
    }

    // Larger than the driver can draw.
    FramePtr fallback(const Wall& wall) {
        if (!processor_) processor_ = makeProcessorWall();
        return processor_->render(wall);
    }

    // -------------------------------------------------------------------------------- drawing
    void beginPicture() {
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
        gl.Viewport(0, 0, width_, height_);
        gl.ClearColor(0.0F, 0.0F, 0.0F, 1.0F);
        gl.Clear(GL_COLOR_BUFFER_BIT);
        gl.BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }

    void drawTile(const WallTile& tile) {
        const TileRect visible = intersection(tile.rect, {0, 0, width_, height_});
        if (visible.isEmpty()) return;
        TileTextures& textures = tiles_.at(tile.id).textures;
        gl.Disable(GL_BLEND);
        if (tile.picture && textures.upload(*tile.picture)) {
            drawPicture(tile.rect, visible, textures);
        } else {
            drawBox({visible, 0.0F, {}, {}, 0.0F});
        }
        for (const TileRect& side : borderRects(tile.rect)) {
            InkBox box;
            box.rect = side;
            box.color = tallyColor(tile.tally);
            drawBox(box);
        }
        gl.Enable(GL_BLEND);
        drawInk(labelInk(tile.rect, tile.name));
        if (tile.hasMeter) drawInk(meterInk(tile.rect, tile.litLeft, tile.litRight));
    }

    void bind(GLenum unit, GLuint texture) {
        gl.ActiveTexture(GL_TEXTURE0 + unit);
        gl.BindTexture(GL_TEXTURE_2D, texture);
    }

    void drawPicture(const TileRect& place, const TileRect& visible, const TileTextures& tile) {
        const PictureProgram& program = picturePrograms_[static_cast<std::size_t>(tile.kind())];
        gl.UseProgram(program.name);
        const auto across = static_cast<float>(place.width);
        const auto down = static_cast<float>(place.height);
        gl.Uniform2f(program.pixel, 1.0F / across, 1.0F / down);
        gl.Uniform2f(program.samples,
                     static_cast<float>(samplesPerPixel(tile.width(), place.width)),
                     static_cast<float>(samplesPerPixel(tile.height(), place.height)));
        const std::size_t textures =
            tile.kind() == TileTextures::Kind::yuv ? TileTextures::mostPlanes : 1;
        for (std::size_t i = 0; i < textures; ++i) {
            gl.Uniform1i(program.textures[i], static_cast<GLint>(i));
            bind(static_cast<GLenum>(i), i == 3 && !tile.hasAlpha() ? white_ : tile.texture(i));
        }
        gl.Uniform1f(program.width, static_cast<float>(tile.width()));
        gl.Uniform1f(program.height, static_cast<float>(tile.height()));
        const float left = static_cast<float>(visible.x - place.x) / across;
        const float right = static_cast<float>(visible.right() - place.x) / across;
        const float top = static_cast<float>(visible.y - place.y) / down;
        const float bottom = static_cast<float>(visible.bottom() - place.y) / down;
        drawRect(visible, left, top, right, bottom);
        gl.ActiveTexture(GL_TEXTURE0);
    }

    void drawInk(const TileInk& ink) {
        for (const InkBox& box : ink.boxes)
            drawBox(box);
        if (ink.glyphs.empty()) return;
        gl.UseProgram(text_.name);
        const wall::Color& color = wall::textColor;
        gl.Uniform4f(text_.color, color.red, color.green, color.blue, color.alpha);
        gl.Uniform1i(text_.font, 0);
        bind(0, font_);
        constexpr float size = LabelAtlas::size;
        for (const InkGlyph& glyph : ink.glyphs)
            drawRect(glyph.rect, glyph.x / size, glyph.y / size, (glyph.x + glyph.width) / size,
                     (glyph.y + glyph.height) / size);
    }

    void drawBox(const InkBox& box) {
        gl.UseProgram(box_.name);
        gl.Uniform2f(box_.size, static_cast<float>(box.rect.width),
                     static_cast<float>(box.rect.height));
        gl.Uniform1f(box_.radius, box.radius);
        gl.Uniform4f(box_.color, box.color.red, box.color.green, box.color.blue, box.color.alpha);
        gl.Uniform4f(box_.edge, box.edge.red, box.edge.green, box.edge.blue, box.edge.alpha);
        gl.Uniform1f(box_.edgeWidth, box.edgeWidth);
        drawRect(box.rect, 0.0F, 0.0F, 1.0F, 1.0F);
    }

    // A quad on those pixels of the wall: row 0 of the framebuffer is its top row.
    void drawRect(const TileRect& rect, float left, float top, float right, float bottom) {
        const auto acrossOf = [this](int x) {
            return 2.0F * static_cast<float>(x) / static_cast<float>(width_) - 1.0F;
        };
        const auto downOf = [this](int y) {
            return 2.0F * static_cast<float>(y) / static_cast<float>(height_) - 1.0F;
        };
        const std::array<GLfloat, 8> corners{acrossOf(rect.x),       downOf(rect.y),
                                             acrossOf(rect.right()), downOf(rect.y),
                                             acrossOf(rect.right()), downOf(rect.bottom()),
                                             acrossOf(rect.x),       downOf(rect.bottom())};
        const std::array<GLfloat, 8> texCoords{left, top, right, top, right, bottom, left, bottom};
        gl::drawQuad(gl, corners.data(), texCoords.data());
    }

    // ------------------------------------------------------------------------------ read-back
    void readBack(AVFrame& picture) {
        picture.width = width_;
        picture.height = height_;
        picture.color_range = AVCOL_RANGE_JPEG;
        gl.PixelStorei(GL_PACK_ALIGNMENT, 1);
        for (std::size_t i = 0; i < outputs_.size(); ++i) {
            const OutputPlane& plane = outputs_[i];
            gl.BindFramebuffer(GL_FRAMEBUFFER, plane.framebuffer);
            gl.Viewport(0, 0, plane.width, plane.height);
            gl.UseProgram(plane.program);
            gl.Uniform1i(plane.picture, 0);
            bind(0, colour_);
            // A sample of chroma lies between its pixels; of an odd size the last lies beyond.
            const int share = i == 0 ? 1 : 2;
            const float right =
                static_cast<float>(plane.width * share) / static_cast<float>(width_);
            const float bottom =
                static_cast<float>(plane.height * share) / static_cast<float>(height_);
            constexpr std::array<GLfloat, 8> corners{-1, -1, 1, -1, 1, 1, -1, 1};
            const std::array<GLfloat, 8> texCoords{0, 0, right, 0, right, bottom, 0, bottom};
            gl::drawQuad(gl, corners.data(), texCoords.data());
        }
        for (std::size_t i = 0; i < outputs_.size(); ++i) {
            const OutputPlane& plane = outputs_[i];
            gl.BindFramebuffer(GL_FRAMEBUFFER, plane.framebuffer);
            gl.PixelStorei(GL_PACK_ROW_LENGTH, picture.linesize[i]);
            gl.ReadPixels(0, 0, plane.width, plane.height, GL_RED, GL_UNSIGNED_BYTE,
                          picture.data[i]);
        }
        gl.PixelStorei(GL_PACK_ROW_LENGTH, 0);
    }

    const std::unique_ptr<gl::HeadlessContext> context_;
    const EntryTable& gl;
    std::array<PictureProgram, 3> picturePrograms_; // by `TileTextures::Kind`
    BoxProgram box_;
    TextProgram text_;
    GLint longestSide_ = 0; // of a texture
    GLuint white_ = 0;
    GLuint font_ = 0;
    GLuint framebuffer_ = 0;
    GLuint colour_ = 0;
    std::array<OutputPlane, 3> outputs_;
    bool isComplete_ = false;
    int width_ = 0; // of the framebuffer
    int height_ = 0;
    std::map<std::uint64_t, KeptTile> tiles_;
    PicturePool pool_;
    std::unique_ptr<WallRenderer> processor_; // for what cannot be drawn here
};

} // namespace

std::unique_ptr<WallRenderer> makeGraphicsWall(GraphicsDriver driver) {
    auto context = gl::HeadlessContext::make(
        driver == GraphicsDriver::hardware ? gl::Driver::hardware : gl::Driver::any);
    if (!context) return nullptr;
    return std::make_unique<GraphicsWall>(std::move(context));
}

} // namespace quol

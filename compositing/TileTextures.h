// The latest picture of a tile in the memory of the graphics processor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "compositing/TileSource.h"
#include "core/Handles.h"
#include "platform/gl/EntryTable.h"

namespace quol {

// One texture a plane. A picture of the shape of the last one goes into the same memory; one that
// is there already is left alone. Made, used and ended on the context's thread.
class TileTextures {
public:
    static constexpr std::size_t mostPlanes = 4;

    // What the textures hold, and so the program that reads them.
    enum class Kind { yuv, uyvy, rgb };

    TileTextures(const gl::EntryTable& entries, int longestSide);
    TileTextures(const TileTextures&) = delete;
    TileTextures& operator=(const TileTextures&) = delete;
    ~TileTextures();

    // False when nothing converts the picture; what the textures hold is then of no use. Keeps a
    // reference to the picture.
    bool upload(const AVFrame& picture);

    Kind kind() const { return kind_; }
    bool hasAlpha() const { return hasAlpha_; } // as a plane of its own, the fourth
    int width() const { return width_; }        // of the picture in the textures
    int height() const { return height_; }
    GLuint texture(std::size_t plane) const { return planes_[plane].name; }

private:
    // A texture and the shape it was made for.
    struct Texture {
        GLuint name = 0;
        int width = 0;
        int height = 0;
        GLenum format = 0;
    };

    void uploadPlanes(const AVFrame& frame);
    void fill(Texture& texture, const std::uint8_t* samples, int stride, int width, int height,
              GLenum format, int bytesPerPixel);

    const gl::EntryTable& gl;
    TileSource source_;
    std::array<Texture, mostPlanes> planes_;
    FramePtr uploaded_; // the picture in the textures, as it came
    std::vector<std::uint8_t> rows_;
    Kind kind_ = Kind::yuv;
    bool hasAlpha_ = false;
    int width_ = 0;
    int height_ = 0;
};

} // namespace quol

#include "compositing/TileTextures.h"

#include "core/FrameRows.h"
#include "core/ScaledPicture.h"
#include "platform/gl/Drawing.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

TileTextures::TileTextures(const gl::EntryTable& entries, int longestSide)
    : gl(entries), source_(TileSource::Reader::graphics, longestSide) {}

TileTextures::~TileTextures() {
    for (const Texture& texture : planes_)
        gl.DeleteTextures(1, &texture.name); // 0 is passed over
}

bool TileTextures::upload(const AVFrame& picture) {
    if (uploaded_ && isSamePicture(*uploaded_, picture) && uploaded_->pts == picture.pts)
        return true;
    uploaded_.reset();
    const AVFrame* const frame = source_.get(picture);
    if (frame == nullptr) return false;
    const auto format = static_cast<AVPixelFormat>(frame->format);
    gl.ActiveTexture(GL_TEXTURE0);
    hasAlpha_ = false;
    GLint reading = GL_LINEAR;
    if (isPlanarYuv(format)) {
        uploadPlanes(*frame);
    } else if (format == AV_PIX_FMT_UYVY422) {
        kind_ = Kind::uyvy;
        reading = GL_NEAREST; // two pixels in one
        fill(planes_[0], frame->data[0], frame->linesize[0], (frame->width + 1) / 2, frame->height,
             GL_RGBA, 4);
    } else {
        kind_ = Kind::rgb;
        const bool withAlpha = format == AV_PIX_FMT_RGBA;
        fill(planes_[0], frame->data[0], frame->linesize[0], frame->width, frame->height,
             withAlpha ? GL_RGBA : GL_RGB, withAlpha ? 4 : 3);
    }
    gl.BindTexture(GL_TEXTURE_2D, planes_[0].name);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, reading);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, reading);
    width_ = frame->width;
    height_ = frame->height;
    uploaded_ = cloneFrame(&picture);
    return true;
}

void TileTextures::uploadPlanes(const AVFrame& frame) {
    const AVPixFmtDescriptor& form = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    kind_ = Kind::yuv;
    hasAlpha_ = form.nb_components == 4;
    for (int i = 0; i < form.nb_components; ++i) {
        const bool isChroma = i == 1 || i == 2;
        const int width = isChroma ? AV_CEIL_RSHIFT(frame.width, form.log2_chroma_w) : frame.width;
        const int height =
            isChroma ? AV_CEIL_RSHIFT(frame.height, form.log2_chroma_h) : frame.height;
        const int plane = form.comp[i].plane;
        fill(planes_[static_cast<std::size_t>(i)], frame.data[plane], frame.linesize[plane], width,
             height, GL_LUMINANCE, 1);
    }
}

void TileTextures::fill(Texture& texture, const std::uint8_t* samples, int stride, int width,
                        int height, GLenum format, int bytesPerPixel) {
    if (texture.name == 0) {
        texture.name = gl::makeTexture(gl);
    } else {
        gl.BindTexture(GL_TEXTURE_2D, texture.name);
    }
    if (stride < width * bytesPerPixel || stride % bytesPerPixel != 0) {
        samples = straightRows(samples, stride, width * bytesPerPixel, height, rows_);
        stride = width * bytesPerPixel;
    }
    gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gl.PixelStorei(GL_UNPACK_ROW_LENGTH, stride / bytesPerPixel);
    if (texture.width == width && texture.height == height && texture.format == format) {
        gl.TexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, format, GL_UNSIGNED_BYTE, samples);
    } else {
        gl.TexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format,
                      GL_UNSIGNED_BYTE, samples);
        texture.width = width;
        texture.height = height;
        texture.format = format;
    }
    gl.PixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

} // namespace quol

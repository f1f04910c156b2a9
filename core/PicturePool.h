// Where every picture that the library makes takes its memory from.
//
// A picture written into freshly mapped memory costs several times a plain copy, in page faults;
// memory that a released picture leaves behind costs none.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "core/Handles.h"

namespace quol {

// Gives frames laid out as `av_frame_get_buffer(frame, 32)` lays them out: the same planes, strides
// and alignment. A buffer comes back by itself when the last reference to its picture goes, also
// after the pool has gone. Pictures hold whatever was last written there.
//
// The pool keeps the memory of one size and format, as many pictures as were out at once; a request
// for another drops what is kept, and so does every `renewal`th picture: what a stall has piled up
// is given back, however long the programme runs. Any thread.
class PicturePool {
public:
    static constexpr int renewal = 1000;

    // Null for a size or format that no picture can have, and when memory is short.
    FramePtr get(int width, int height, AVPixelFormat format);

    // Gives the kept memory back.
    void clear();

private:
    struct PoolDeleter {
        void operator()(AVBufferPool* pool) const noexcept { av_buffer_pool_uninit(&pool); }
    };
    struct Plane {
        int buffer = -1; // index into `buffers`, -1 for a plane that the format lacks
        std::ptrdiff_t offset = 0;
        int stride = 0;
    };

    using BufferPool = std::unique_ptr<AVBufferPool, PoolDeleter>;

    struct Buffers {
        BufferPool pool;
        std::size_t size = 0; // bytes of each
    };

    bool learnLayout(int width, int height, AVPixelFormat format);
    void renew();

    std::mutex mutex_; // guards all below
    int width_ = 0;
    int height_ = 0;
    AVPixelFormat format_ = AV_PIX_FMT_NONE;
    std::array<Plane, AV_NUM_DATA_POINTERS> planes_{};
    std::vector<Buffers> buffers_;
    int given_ = 0; // pictures, since the last renewal
};

} // namespace quol

// What a preview is drawn on.
#pragma once

namespace quol {

namespace gl {
struct EntryTable;
}

struct SurfaceSize {
    int width = 0; // pixels
    int height = 0;

    bool operator==(const SurfaceSize&) const = default;
};

// A drawing surface in somebody else's window. It may be made on any thread; every call after that,
// and its end, belong to one thread.
class PreviewSurface {
public:
    PreviewSurface() = default;
    PreviewSurface(const PreviewSurface&) = delete;
    PreviewSurface& operator=(const PreviewSurface&) = delete;
    virtual ~PreviewSurface() = default;

    // Builds the surface, and makes its context current on this thread. Once, before all others;
    // false when there can be none.
    virtual bool open() = 0;

    virtual const gl::EntryTable& entries() const = 0;

    struct News {
        bool gone = false;    // the window is no more: nothing drawn arrives anywhere
        bool damaged = false; // what was drawn last is no longer to be seen, or not in the size
    };
    // What has happened to the window since the last call. Never waits.
    virtual News poll() = 0;

    virtual SurfaceSize size() const = 0; // as of the last `poll`; 0 while it is not known

    virtual void begin() = 0;   // what is drawn from here on goes to the surface
    virtual void present() = 0; // and is shown
};

} // namespace quol

// OpenGL without a window.
#pragma once

#include <memory>
#include <string>

#include "platform/gl/EntryTable.h"

namespace quol::gl {

// Which drivers will do.
enum class Driver {
    hardware, // a graphics processor; one that computes on the main processor is refused
    any,
};

// A context of its own with no surface: what is drawn goes into framebuffers. It belongs to the
// thread that made it, on which it is current until it goes.
//
// EGL is opened at run time. A graphics processor's device is tried first, then a display without
// any surface, then the default one; the first that gives a complete entry table is taken. Where a
// graphics processor is asked for and the system lists its devices, only those are tried.
class HeadlessContext {
public:
    // Null when there is no such context to be had.
    static std::unique_ptr<HeadlessContext> make(Driver driver);

    HeadlessContext(const HeadlessContext&) = delete;
    HeadlessContext& operator=(const HeadlessContext&) = delete;
    ~HeadlessContext(); // on the same thread

    const EntryTable& entries() const { return entries_; }

    // The driver's own names, "llvmpipe (LLVM 15.0.6, 256 bits)" and its like.
    std::string renderer() const;

private:
    HeadlessContext(void* display, void* context) : display_(display), context_(context) {}

    static std::unique_ptr<HeadlessContext> makeOn(void* display);

    void* display_; // EGLDisplay, never terminated: the process shares it
    void* context_; // EGLContext
    EntryTable entries_;
};

} // namespace quol::gl

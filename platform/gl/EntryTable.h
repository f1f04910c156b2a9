// The OpenGL functions that the compositors call, found at run time.
#pragma once

// For all types and constants; nothing of the library behind these headers is linked.
#define GL_GLEXT_PROTOTYPES 0
#include <GL/gl.h>
#include <GL/glext.h>

// A line each.
// clang-format off

// What came after OpenGL 1.1 and so is always looked up, in this order.
#define QUOL_GL_EXTENSION_ENTRIES(entry)                               \
    entry(PFNGLCREATESHADERPROC, CreateShader)                         \
    entry(PFNGLSHADERSOURCEPROC, ShaderSource)                         \
    entry(PFNGLCOMPILESHADERPROC, CompileShader)                       \
    entry(PFNGLCREATEPROGRAMPROC, CreateProgram)                       \
    entry(PFNGLATTACHSHADERPROC, AttachShader)                         \
    entry(PFNGLBINDATTRIBLOCATIONPROC, BindAttribLocation)             \
    entry(PFNGLLINKPROGRAMPROC, LinkProgram)                           \
    entry(PFNGLDELETESHADERPROC, DeleteShader)                         \
    entry(PFNGLGENFRAMEBUFFERSPROC, GenFramebuffers)                   \
    entry(PFNGLDELETEFRAMEBUFFERSPROC, DeleteFramebuffers)             \
    entry(PFNGLBINDFRAMEBUFFERPROC, BindFramebuffer)                   \
    entry(PFNGLFRAMEBUFFERTEXTURE2DPROC, FramebufferTexture2D)         \
    entry(PFNGLCHECKFRAMEBUFFERSTATUSPROC, CheckFramebufferStatus)     \
    entry(PFNGLACTIVETEXTUREPROC, ActiveTexture)                       \
    entry(PFNGLUNIFORM1IPROC, Uniform1i)                               \
    entry(PFNGLUNIFORM1FPROC, Uniform1f)                               \
    entry(PFNGLUNIFORM2FPROC, Uniform2f)                               \
    entry(PFNGLUNIFORM4FPROC, Uniform4f)                               \
    entry(PFNGLUNIFORMMATRIX4FVPROC, UniformMatrix4fv)                 \
    entry(PFNGLGETUNIFORMLOCATIONPROC, GetUniformLocation)             \
    entry(PFNGLGENBUFFERSPROC, GenBuffers)                             \
    entry(PFNGLBINDBUFFERPROC, BindBuffer)                             \
    entry(PFNGLBUFFERDATAPROC, BufferData)                             \
    entry(PFNGLENABLEVERTEXATTRIBARRAYPROC, EnableVertexAttribArray)   \
    entry(PFNGLDISABLEVERTEXATTRIBARRAYPROC, DisableVertexAttribArray) \
    entry(PFNGLVERTEXATTRIBPOINTERPROC, VertexAttribPointer)           \
    entry(PFNGLUSEPROGRAMPROC, UseProgram)                             \
    entry(PFNGLDELETEPROGRAMPROC, DeleteProgram)                       \
    entry(PFNGLMAPBUFFERRANGEPROC, MapBufferRange)                     \
    entry(PFNGLUNMAPBUFFERPROC, UnmapBuffer)                           \
    entry(PFNGLDELETEBUFFERSPROC, DeleteBuffers)                       \
    entry(PFNGLGETPROGRAMIVPROC, GetProgramiv)                         \
    entry(PFNGLBLENDFUNCSEPARATEPROC, BlendFuncSeparate)

// OpenGL 1.1, which a library that is linked would bring.
#define QUOL_GL_CORE_ENTRIES(entry)                      \
    entry(decltype(&::glGetString), GetString)           \
    entry(decltype(&::glGetIntegerv), GetIntegerv)       \
    entry(decltype(&::glViewport), Viewport)             \
    entry(decltype(&::glClearColor), ClearColor)         \
    entry(decltype(&::glClear), Clear)                   \
    entry(decltype(&::glEnable), Enable)                 \
    entry(decltype(&::glDisable), Disable)               \
    entry(decltype(&::glBlendFunc), BlendFunc)           \
    entry(decltype(&::glGenTextures), GenTextures)       \
    entry(decltype(&::glDeleteTextures), DeleteTextures) \
    entry(decltype(&::glBindTexture), BindTexture)       \
    entry(decltype(&::glTexParameteri), TexParameteri)   \
    entry(decltype(&::glTexImage2D), TexImage2D)         \
    entry(decltype(&::glTexSubImage2D), TexSubImage2D)   \
    entry(decltype(&::glPixelStorei), PixelStorei)       \
    entry(decltype(&::glDrawArrays), DrawArrays)         \
    entry(decltype(&::glReadPixels), ReadPixels)

// clang-format on

namespace quol::gl {

// One pointer a function, named without the "gl". Of the thread whose context is current.
struct EntryTable {
#define QUOL_GL_MEMBER(type, name) type name = nullptr;
    QUOL_GL_EXTENSION_ENTRIES(QUOL_GL_MEMBER)
    QUOL_GL_CORE_ENTRIES(QUOL_GL_MEMBER)
#undef QUOL_GL_MEMBER

    // Looks every entry up with `find`, which takes a name and returns a function pointer or null.
    // False when one is missing.
    template <typename Find>
    bool load(Find find) {
        bool complete = true;
#define QUOL_GL_LOAD(type, name)                     \
    name = reinterpret_cast<type>(find("gl" #name)); \
    complete = complete && name != nullptr;
        QUOL_GL_EXTENSION_ENTRIES(QUOL_GL_LOAD)
        QUOL_GL_CORE_ENTRIES(QUOL_GL_LOAD)
#undef QUOL_GL_LOAD
        return complete;
    }
};

} // namespace quol::gl

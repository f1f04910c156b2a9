#include "platform/gl/Program.h"

namespace quol::gl {

namespace {

void attach(const EntryTable& gl, GLuint program, GLenum kind, const char* source) {
    const GLuint shader = gl.CreateShader(kind);
    gl.ShaderSource(shader, 1, &source, nullptr);
    gl.CompileShader(shader);
    gl.AttachShader(program, shader);
    gl.DeleteShader(shader); // when the program goes
}

} // namespace

GLuint linkProgram(const EntryTable& gl, const char* vertexSource, const char* fragmentSource,
                   std::initializer_list<const char*> attributes) {
    const GLuint program = gl.CreateProgram();
    attach(gl, program, GL_VERTEX_SHADER, vertexSource);
    attach(gl, program, GL_FRAGMENT_SHADER, fragmentSource);
    GLuint number = 0;
    for (const char* name : attributes)
        gl.BindAttribLocation(program, number++, name);
    gl.LinkProgram(program);
    GLint linked = GL_FALSE;
    gl.GetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked == GL_TRUE) return program;
    gl.DeleteProgram(program);
    return 0;
}

GLuint makeTexture(const EntryTable& gl) {
    GLuint texture = 0;
    gl.GenTextures(1, &texture);
    gl.BindTexture(GL_TEXTURE_2D, texture);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return texture;
}

} // namespace quol::gl

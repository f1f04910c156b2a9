#include "platform/gl/Drawing.h"

namespace quol::gl {

namespace {

constexpr const char* quadVertexShader = R"(attribute vec2 position;
attribute vec2 texCoord;
varying vec2 v_texCoord;
void main() {
    gl_Position = vec4(position, 0.0, 1.0);
    v_texCoord = texCoord;
}
)";

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

GLuint linkQuadProgram(const EntryTable& gl, const char* fragmentSource) {
    return linkProgram(gl, quadVertexShader, fragmentSource, {"position", "texCoord"});
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

void drawQuad(const EntryTable& gl, const GLfloat corners[8], const GLfloat texCoords[8]) {
    gl.EnableVertexAttribArray(positionAttribute);
    gl.EnableVertexAttribArray(texCoordAttribute);
    gl.VertexAttribPointer(positionAttribute, 2, GL_FLOAT, GL_FALSE, 0, corners);
    gl.VertexAttribPointer(texCoordAttribute, 2, GL_FLOAT, GL_FALSE, 0, texCoords);
    gl.DrawArrays(GL_TRIANGLE_FAN, 0, 4);
    gl.DisableVertexAttribArray(positionAttribute);
    gl.DisableVertexAttribArray(texCoordAttribute);
}

} // namespace quol::gl

// What everything that draws with OpenGL begins with.
#pragma once

#include "platform/gl/EntryTable.h"

namespace quol::gl {

// Where every vertex shader finds its two inputs, "position" and "texCoord".
inline constexpr GLuint positionAttribute = 0;
inline constexpr GLuint texCoordAttribute = 1;

// A linked program of the two sources.
inline GLuint makeProgram(const EntryTable& gl, const char* vertexSource,
                          const char* fragmentSource) {
    const auto compile = [&gl](GLenum kind, const char* source) {
        const GLuint shader = gl.CreateShader(kind);
        gl.ShaderSource(shader, 1, &source, nullptr);
        gl.CompileShader(shader);
        return shader;
    };
    const GLuint vertex = compile(GL_VERTEX_SHADER, vertexSource);
    const GLuint fragment = compile(GL_FRAGMENT_SHADER, fragmentSource);
    const GLuint program = gl.CreateProgram();
    gl.AttachShader(program, vertex);
    gl.AttachShader(program, fragment);
    gl.BindAttribLocation(program, positionAttribute, "position");
    gl.BindAttribLocation(program, texCoordAttribute, "texCoord");
    gl.LinkProgram(program);
    gl.DeleteShader(vertex);
    gl.DeleteShader(fragment);
    return program;
}

// A texture bound to the unit in use; it reads between its pixels.
inline GLuint makeTexture(const EntryTable& gl) {
    GLuint texture = 0;
    gl.GenTextures(1, &texture);
    gl.BindTexture(GL_TEXTURE_2D, texture);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    return texture;
}

// A quad of four corners, each two numbers, around it.
inline void drawQuad(const EntryTable& gl, const GLfloat corners[8], const GLfloat texCoords[8]) {
    gl.EnableVertexAttribArray(positionAttribute);
    gl.EnableVertexAttribArray(texCoordAttribute);
    gl.VertexAttribPointer(positionAttribute, 2, GL_FLOAT, GL_FALSE, 0, corners);
    gl.VertexAttribPointer(texCoordAttribute, 2, GL_FLOAT, GL_FALSE, 0, texCoords);
    gl.DrawArrays(GL_TRIANGLE_FAN, 0, 4);
    gl.DisableVertexAttribArray(positionAttribute);
    gl.DisableVertexAttribArray(texCoordAttribute);
}

} // namespace quol::gl

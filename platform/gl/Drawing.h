// What everything that draws with OpenGL begins with.
#pragma once

#include <initializer_list>

#include "platform/gl/EntryTable.h"

namespace quol::gl {

// Where the programs of textured quads find their two inputs, "position" and "texCoord".
inline constexpr GLuint positionAttribute = 0;
inline constexpr GLuint texCoordAttribute = 1;

// A linked program whose attributes have the numbers 0, 1 and so on in the order named. 0 when the
// driver does not take it.
GLuint linkProgram(const EntryTable& gl, const char* vertexSource, const char* fragmentSource,
                   std::initializer_list<const char*> attributes);

// The same for a textured quad: the fragment shader gets "v_texCoord".
GLuint linkQuadProgram(const EntryTable& gl, const char* fragmentSource);

// A texture bound to the unit in use, linear, its edges repeated.
GLuint makeTexture(const EntryTable& gl);

// A quad of four corners, each two numbers, around it.
void drawQuad(const EntryTable& gl, const GLfloat corners[8], const GLfloat texCoords[8]);

} // namespace quol::gl

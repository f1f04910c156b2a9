// Shader programs and textures in the form that everything drawn here uses.
#pragma once

#include <initializer_list>

#include "platform/gl/EntryTable.h"

namespace quol::gl {

// A linked program whose attributes have the numbers 0, 1 and so on in the order named. 0 when the
// driver does not take it.
GLuint linkProgram(const EntryTable& gl, const char* vertexSource, const char* fragmentSource,
                   std::initializer_list<const char*> attributes);

// A texture bound to the unit in use, linear, its edges repeated.
GLuint makeTexture(const EntryTable& gl);

} // namespace quol::gl

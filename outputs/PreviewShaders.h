// The programs that a preview is drawn with.
#pragma once

namespace quol {

inline constexpr const char* previewPictureShader = R"(varying vec2 v_texCoord;
uniform sampler2D texY;
uniform sampler2D texU;
uniform sampler2D texV;
void main() {
    float y = (texture2D(texY, v_texCoord).r - 0.06275) * 1.16438;
    float u = (texture2D(texU, v_texCoord).r - 0.5) * 1.13843;
    float v = (texture2D(texV, v_texCoord).r - 0.5) * 1.13843;
    float r = clamp(y + 1.40200 * v, 0.0, 1.0);
    float g = clamp(y - 0.34414 * u - 0.71414 * v, 0.0, 1.0);
    float b = clamp(y + 1.77200 * u, 0.0, 1.0);
    gl_FragColor = vec4(r, g, b, 1.0);
}
)";

inline constexpr const char* previewPlateShader = R"(varying vec2 v_texCoord;
uniform sampler2D texPlate;
void main() {
    gl_FragColor = texture2D(texPlate, v_texCoord);
}
)";

// Boxes of one colour.
inline constexpr const char* previewBoxVertexShader = R"(attribute vec2 position;
attribute vec4 color;
varying vec4 v_color;
void main() {
    gl_Position = vec4(position, 0.0, 1.0);
    v_color = color;
}
)";

inline constexpr const char* previewBoxShader = R"(varying vec4 v_color;
void main() {
    gl_FragColor = v_color;
}
)";

} // namespace quol

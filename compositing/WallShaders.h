// The programs that a wall is drawn with.
#pragma once

namespace quol {

// A pixel of a tile is the mean of u_samples values spread evenly over what it covers; u_pixel is
// its size in the source.
#define QUOL_WALL_SAMPLING                                                               \
    "uniform vec2 u_pixel;\n"                                                            \
    "uniform vec2 u_samples;\n"                                                          \
    "varying vec2 v_texCoord;\n"                                                         \
    "vec2 placeOf(float column, float row) {\n"                                          \
    "    return v_texCoord + ((vec2(column, row) + 0.5) / u_samples - 0.5) * u_pixel;\n" \
    "}\n"                                                                                \
    "vec4 meanOf(sampler2D tex) {\n"                                                     \
    "    vec4 sum = vec4(0.0);\n"                                                        \
    "    for (float row = 0.0; row < u_samples.y; row += 1.0)\n"                         \
    "        for (float column = 0.0; column < u_samples.x; column += 1.0)\n"            \
    "            sum += texture2D(tex, placeOf(column, row));\n"                         \
    "    return sum / (u_samples.x * u_samples.y);\n"                                    \
    "}\n"

#define QUOL_WALL_TO_RGB                                                      \
    "vec3 rgbOf(float luma, float cb, float cr) {\n"                          \
    "    float y = (luma - 0.06275) * 1.16438;\n"                             \
    "    float u = (cb - 0.5) * 1.13843;\n"                                   \
    "    float v = (cr - 0.5) * 1.13843;\n"                                   \
    "    return clamp(vec3(y + 1.40200 * v, y - 0.34414 * u - 0.71414 * v,\n" \
    "                      y + 1.77200 * u), 0.0, 1.0);\n"                    \
    "}\n"

inline constexpr const char* wallYuvShader = QUOL_WALL_SAMPLING QUOL_WALL_TO_RGB R"(
uniform sampler2D texY;
uniform sampler2D texU;
uniform sampler2D texV;
uniform sampler2D texA;
void main() {
    vec3 rgb = rgbOf(meanOf(texY).r, meanOf(texU).r, meanOf(texV).r);
    gl_FragColor = vec4(rgb * meanOf(texA).r, 1.0);
}
)";

// Two pixels a texel: U, the luma of the even one, V, the luma of the odd one. Nothing is read
// between texels by itself.
inline constexpr const char* wallUyvyShader = QUOL_WALL_SAMPLING QUOL_WALL_TO_RGB R"(
uniform sampler2D texUYVY;
uniform float u_width;
uniform float u_height;
vec4 texel(float column, float row) {
    float columns = floor((u_width + 1.0) / 2.0);
    return texture2D(texUYVY, (clamp(vec2(column, row), vec2(0.0), vec2(columns, u_height) - 1.0) + 0.5) / vec2(columns, u_height));
}
float lumaOf(float x, float y) {
    float column = clamp(x, 0.0, u_width - 1.0);
    vec4 both = texel(floor(column / 2.0), y);
    return mod(column, 2.0) < 0.5 ? both.g : both.a;
}
float lumaAt(vec2 place) {
    vec2 at = place * vec2(u_width, u_height) - 0.5;
    vec2 low = floor(at);
    vec2 part = at - low;
    return mix(mix(lumaOf(low.x, low.y), lumaOf(low.x + 1.0, low.y), part.x),
               mix(lumaOf(low.x, low.y + 1.0), lumaOf(low.x + 1.0, low.y + 1.0), part.x), part.y);
}
vec2 chromaAt(vec2 place) {
    vec2 at = place * vec2(floor((u_width + 1.0) / 2.0), u_height) - 0.5;
    vec2 low = floor(at);
    vec2 part = at - low;
    return mix(mix(texel(low.x, low.y).rb, texel(low.x + 1.0, low.y).rb, part.x),
               mix(texel(low.x, low.y + 1.0).rb, texel(low.x + 1.0, low.y + 1.0).rb, part.x), part.y);
}
void main() {
    vec3 sum = vec3(0.0);
    for (float row = 0.0; row < u_samples.y; row += 1.0) {
        for (float column = 0.0; column < u_samples.x; column += 1.0) {
            vec2 place = placeOf(column, row);
            sum += vec3(lumaAt(place), chromaAt(place));
        }
    }
    sum /= u_samples.x * u_samples.y;
    gl_FragColor = vec4(rgbOf(sum.x, sum.y, sum.z), 1.0);
}
)";

inline constexpr const char* wallRgbShader = QUOL_WALL_SAMPLING R"(
uniform sampler2D texRGB;
void main() {
    vec4 color = meanOf(texRGB);
    gl_FragColor = vec4(color.rgb * color.a, 1.0);
}
)";

#undef QUOL_WALL_SAMPLING
#undef QUOL_WALL_TO_RGB

// One plane of the finished picture, as grey.
inline constexpr const char* wallOutputY = R"(varying vec2 v_texCoord;
uniform sampler2D texRGB;
void main() {
    vec3 color = texture2D(texRGB, v_texCoord).rgb;
    gl_FragColor = vec4(vec3(dot(color, vec3(0.299, 0.587, 0.114))), 1.0);
}
)";

inline constexpr const char* wallOutputU = R"(varying vec2 v_texCoord;
uniform sampler2D texRGB;
void main() {
    vec3 color = texture2D(texRGB, v_texCoord).rgb;
    gl_FragColor = vec4(vec3(dot(color, vec3(-0.169, -0.331, 0.500)) + 0.5), 1.0);
}
)";

inline constexpr const char* wallOutputV = R"(varying vec2 v_texCoord;
uniform sampler2D texRGB;
void main() {
    vec3 color = texture2D(texRGB, v_texCoord).rgb;
    gl_FragColor = vec4(vec3(dot(color, vec3(0.500, -0.419, -0.081)) + 0.5), 1.0);
}
)";

inline constexpr const char* wallBoxShader = R"(varying vec2 v_texCoord;
uniform vec2 u_size;
uniform float u_radius;
uniform vec4 u_bgColor;
uniform vec4 u_borderColor;
uniform float u_borderWidth;
float roundedBoxSDF(vec2 p, vec2 b, float r) {
    vec2 d = abs(p) - b + r;
    return min(max(d.x, d.y), 0.0) + length(max(d, 0.0)) - r;
}
float coverageAt(float dist) {
    return 1.0 - smoothstep(0.0, 1.0, dist);
}
void main() {
    float dist = roundedBoxSDF((v_texCoord - 0.5) * u_size, u_size * 0.5, u_radius);
    vec4 color = u_bgColor;
    if (u_borderWidth > 0.0)
        color = mix(u_borderColor, u_bgColor, coverageAt(dist + u_borderWidth));
    gl_FragColor = vec4(color.rgb, color.a * coverageAt(dist));
}
)";

inline constexpr const char* wallTextShader = R"(varying vec2 v_texCoord;
uniform sampler2D texFont;
uniform vec4 u_textColor;
void main() {
    gl_FragColor = vec4(u_textColor.rgb, u_textColor.a * texture2D(texFont, v_texCoord).a);
}
)";

} // namespace quol

// The programs that a layer is drawn with.
#pragma once

namespace quol {

inline constexpr const char* layerFragmentShader = R"(varying vec2 v_texCoord;
uniform sampler2D texY;
uniform sampler2D texU;
uniform sampler2D texV;
uniform sampler2D texA;
uniform sampler2D texKeyY;
uniform bool isDSK;
uniform bool keyHasAlpha;
uniform float globalAlpha;
uniform vec4 u_crop;
uniform vec2 u_resolution;
uniform float u_borderRadius;
uniform vec4 u_borderProps;
uniform float u_borderAlpha;
void main() {
    if (v_texCoord.x < u_crop.x || v_texCoord.x > (1.0 - u_crop.z) ||
        v_texCoord.y < u_crop.y || v_texCoord.y > (1.0 - u_crop.w)) {
        discard;
    }
    vec2 activeCoord = (v_texCoord - vec2(u_crop.x, u_crop.y)) / (vec2(1.0 - u_crop.z, 1.0 - u_crop.w) - vec2(u_crop.x, u_crop.y));
    float y = (texture2D(texY, v_texCoord).r - 0.06275) * 1.16438;
    float u = (texture2D(texU, vec2(v_texCoord.x, v_texCoord.y)).r - 0.5) * 1.13843;
    float v = (texture2D(texV, vec2(v_texCoord.x, v_texCoord.y)).r - 0.5) * 1.13843;
    float r = clamp(y + 1.40200 * v, 0.0, 1.0);
    float g = clamp(y - 0.34414 * u - 0.71414 * v, 0.0, 1.0);
    float b = clamp(y + 1.77200 * u, 0.0, 1.0);
    float a = texture2D(texA, v_texCoord).r;
    if (isDSK) {
        float keyVal = texture2D(texKeyY, v_texCoord).r;
        if (!keyHasAlpha) {
            keyVal = clamp((keyVal - 0.0627451) * 1.16438356, 0.0, 1.0);
        }
        a *= keyVal;
    }
    a *= globalAlpha;
    vec2 pixelPos = activeCoord * u_resolution;
    float radius = u_borderRadius;
    bool inCorner = false;
    vec2 cornerCenter = vec2(0.0);
    if (pixelPos.x < radius && pixelPos.y < radius) {
        cornerCenter = vec2(radius); inCorner = true;
    } else if (pixelPos.x > (u_resolution.x - radius) && pixelPos.y < radius) {
        cornerCenter = vec2(u_resolution.x - radius, radius); inCorner = true;
    } else if (pixelPos.x < radius && pixelPos.y > (u_resolution.y - radius)) {
        cornerCenter = vec2(radius, u_resolution.y - radius); inCorner = true;
    } else if (pixelPos.x > (u_resolution.x - radius) && pixelPos.y > (u_resolution.y - radius)) {
        cornerCenter = vec2(u_resolution.x - radius, u_resolution.y - radius); inCorner = true;
    }
    if (inCorner) {
        float d = distance(pixelPos, cornerCenter);
        if (d > radius) discard;
        a *= smoothstep(radius, radius - 1.0, d);
    }
    float borderSize = u_borderProps.x;
    if (borderSize > 0.0) {
        bool isBorder = false;
        if (pixelPos.x < borderSize || pixelPos.x > (u_resolution.x - borderSize) ||
            pixelPos.y < borderSize || pixelPos.y > (u_resolution.y - borderSize)) {
            isBorder = true;
        }
        if (inCorner) {
            float d = distance(pixelPos, cornerCenter);
            if (d > (radius - borderSize)) isBorder = true;
        }
        if (isBorder) {
            gl_FragColor = vec4(u_borderProps.yzw, u_borderAlpha * a);
            return;
        }
    }
    gl_FragColor = vec4(r, g, b, a);
}
)";

} // namespace quol

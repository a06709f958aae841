// cloudShader.ts - points from a depth image, made on the graphics processor: one vertex a pixel, its depth from a
// texture, its direction from the lens, its color from the other camera's picture. Pixels without depth are put where
// nothing is drawn.

export const kVertexShader = /* glsl */ `
precision highp float;
precision highp int;
precision highp usampler2D;
precision highp sampler2D;

uniform mat4 modelViewMatrix;
uniform mat4 projectionMatrix;
uniform usampler2D depthImage;
uniform sampler2D colorImage;
uniform sampler2D colorTable;
uniform vec4 depthLens;      // fx, fy, cx, cy
uniform float depthK[5];     // k1, k2, p1, p2, k3
uniform vec4 colorLens;
uniform float colorK[5];
uniform vec2 colorSize;
uniform mat3 toColorRotation;
uniform vec3 toColorTranslation;
uniform bool isRegistered;
uniform bool isColored;
uniform vec2 range;          // near and far, mm
uniform float mmPerUnit;
uniform float pointSize;
out vec3 shade;

vec2 distorted(vec2 p, float k[5]) {
    float r2 = dot(p, p);
    float radial = 1.0 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    return p * radial + vec2(2.0 * k[2] * p.x * p.y + k[3] * (r2 + 2.0 * p.x * p.x),
                             k[2] * (r2 + 2.0 * p.y * p.y) + 2.0 * k[3] * p.x * p.y);
}

vec2 undistorted(vec2 seen, float k[5]) {
    vec2 p = seen;
    if (k[0] == 0.0 && k[1] == 0.0 && k[2] == 0.0 && k[3] == 0.0 && k[4] == 0.0) {
        return p;
    }
    for (int i = 0; i < 12; ++i) {
        p += seen - distorted(p, k);
    }
    return p;
}

void main() {
    ivec2 size = textureSize(depthImage, 0);
    ivec2 pixel = ivec2(gl_VertexID % size.x, gl_VertexID / size.x);
    float z = float(texelFetch(depthImage, pixel, 0).r) * mmPerUnit;
    gl_PointSize = pointSize;
    shade = vec3(0.0);
    if (z == 0.0) {
        gl_Position = vec4(2.0, 2.0, 2.0, 1.0);
        return;
    }
    vec3 point = vec3(undistorted((vec2(pixel) - depthLens.zw) / depthLens.xy, depthK), 1.0) * z;
    gl_Position = projectionMatrix * modelViewMatrix * vec4(point, 1.0);

    float share = clamp((z - range.x) / max(range.y - range.x, 1.0e-6), 0.0, 1.0);
    shade = texture(colorTable, vec2(share, 0.5)).rgb;
    if (isColored) {
        vec2 uv = (vec2(pixel) + 0.5) / vec2(size);
        bool isSeen = true;
        if (!isRegistered) {
            vec3 there = toColorRotation * point + toColorTranslation;
            vec2 at = distorted(there.xy / there.z, colorK) * colorLens.xy + colorLens.zw;
            uv = (at + 0.5) / colorSize;
            isSeen = there.z > 0.0 && all(greaterThanEqual(uv, vec2(0.0))) && all(lessThanEqual(uv, vec2(1.0)));
        }
        shade = isSeen ? texture(colorImage, uv).rgb : vec3(0.45);
    }
}
`;

export const kFragmentShader = /* glsl */ `
precision highp float;
in vec3 shade;
out vec4 color;

void main() {
    color = vec4(shade, 1.0);
}
`;

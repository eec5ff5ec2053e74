// Interface of every pixel program.
//
// A program defines `vec4 shade(vec2 uv)`: uv is the output pixel's centre as a fraction of the
// input image, 0 to 1, y downward. It may call
//   inputPixel()   the size of one input pixel as such a fraction
//   own()          the input's sample at the own pixel
//   sampleInput(p), sampleTexture1(p), sampleTexture2(p)
//                  the input, and the textures of registers 1 and 2, at p in 0 to 1
// Samples and results are premultiplied.
//
// All textures are read through one sampler, that of register 0, the input's. A program that reads
// through the sampler of register 1 defines MESH_TEXTURE_SAMPLER_REGISTER as 1 before it includes
// this file. A program with constants declares them, in the order of the effect's structure, as
//   CONSTANTS { float amout; };

#extension GL_EXT_scalar_block_layout : require

layout(set = 0, binding = 0) uniform texture2D InputTexture;
layout(set = 0, binding = 1) uniform texture2D Texture1;
layout(set = 0, binding = 2) uniform texture2D Texture2;

#ifndef MESH_TEXTURE_SAMPLER_REGISTER
#define MESH_TEXTURE_SAMPLER_REGISTER 0
#endif
#if MESH_TEXTURE_SAMPLER_REGISTER == 0
layout(set = 0, binding = 3) uniform sampler MeshTextureSampler;
#else
layout(set = 0, binding = 4) uniform sampler MeshTextureSampler;
#endif

#define CONSTANTS layout(set = 0, binding = 6, scalar) uniform constants

// Where the drawn rectangle lies in the image: position = gl_FragCoord.xy + origin.
layout(push_constant) uniform Placement {
  vec2 origin;
  vec2 pixelSize;
} placement;

layout(location = 0) out vec4 pixelResult;

vec2 inputPosition() {
  return gl_FragCoord.xy + placement.origin;
}

vec2 inputPixel() {
  return placement.pixelSize;
}

vec4 own() {
  return texelFetch(sampler2D(InputTexture, MeshTextureSampler), ivec2(inputPosition()), 0);
}

vec4 sampleInput(vec2 p) {
  return textureLod(sampler2D(InputTexture, MeshTextureSampler), p, 0.0);
}

vec4 sampleTexture1(vec2 p) {
  return textureLod(sampler2D(Texture1, MeshTextureSampler), p, 0.0);
}

vec4 sampleTexture2(vec2 p) {
  return textureLod(sampler2D(Texture2, MeshTextureSampler), p, 0.0);
}

vec4 shade(vec2 uv);

void main() {
  // Devices differ in what they store for NaN; clamping makes it 0.
  pixelResult = clamp(shade(inputPosition() * inputPixel()), 0.0, 1.0);
}

// Interface of every compute program.
//
// A program defines `uint result(uvec2 at)`: the 32-bit word for one place of a grid. The grid is
// `g_tex_width` words wide, and as wide and high as the whole groups that were dispatched, so no
// bounds are tested. It may call
//   texelBytes(g_Input1, at)   the four channels of a texel, each as a whole number from 0 to 255
// with any of the three textures. One that is not bound reads as 0.

#extension GL_EXT_scalar_block_layout : require
#extension GL_EXT_samplerless_texture_functions : require

layout(local_size_x = 32, local_size_y = 16, local_size_z = 1) in;

layout(set = 0, binding = 0) uniform texture2D g_Input1;
layout(set = 0, binding = 1) uniform texture2D g_Input2;
layout(set = 0, binding = 2) uniform texture2D g_Input3;

layout(set = 0, binding = 6, scalar) uniform cbCS {
  uint g_tex_width;
  uint g_tex_height;
  uint g_reserved_0;
  uint g_reserved_1;
};

layout(set = 0, binding = 7, scalar) writeonly buffer Output {
  uint BufferOut[];
};

// Devices may be a little off in turning a byte to a fraction: rounding gives the byte back.
#define texelBytes(texture, at) ivec4(texelFetch(texture, ivec2(at), 0) * 255.0 + 0.5)

uint result(uvec2 at);

void main() {
  uvec2 at = gl_GlobalInvocationID.xy;
  BufferOut[at.y * g_tex_width + at.x] = result(at);
}

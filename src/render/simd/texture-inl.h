// Reads of textures at any place.

#if defined(VANTRIX_RENDER_SIMD_TEXTURE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_TEXTURE_INL_H_
#undef VANTRIX_RENDER_SIMD_TEXTURE_INL_H_
#else
#define VANTRIX_RENDER_SIMD_TEXTURE_INL_H_
#endif

#include "render/simd/color-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantra::Render::Simd::HWY_NAMESPACE {

// At fractions of the texture, filtered and extended as the sampler says. Neighbouring columns of
// one row are loaded, others gathered.
Color Sample(const TextureView& texture, const Sampler& sampler, F u, F v);
Color Sample(const TextureView& texture, const Sampler& sampler, F u, float v);
UniformColor Sample(const TextureView& texture, const Sampler& sampler, float u, float v);

// At whole places. Outside it is transparent black.
Color Fetch(const TextureView& texture, I x, I y);
Color Fetch(const TextureView& texture, I x, std::int32_t y);
UniformColor Fetch(const TextureView& texture, std::int32_t x, std::int32_t y);

}  // namespace Vantra::Render::Simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VANTRIX_RENDER_SIMD_TEXTURE_INL_H_

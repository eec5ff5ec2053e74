// All that a translated program calls.

#if defined(VANTRIX_RENDER_SIMD_PROGRAM_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VANTRIX_RENDER_SIMD_PROGRAM_INL_H_
#undef VANTRIX_RENDER_SIMD_PROGRAM_INL_H_
#else
#define VANTRIX_RENDER_SIMD_PROGRAM_INL_H_
#endif

#include "render/simd/integers-inl.h"
#include "render/simd/kernel.h"
#include "render/simd/lanes-inl.h"
#include "render/simd/math-inl.h"
#include "render/simd/memory-inl.h"
#include "render/simd/pairs-inl.h"
#include "render/simd/row_read-inl.h"
#include "render/simd/store-inl.h"
#include "render/simd/tape.h"
#include "render/simd/texture-inl.h"

#endif  // VANTRIX_RENDER_SIMD_PROGRAM_INL_H_

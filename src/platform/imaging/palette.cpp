#include "platform/imaging/palette.h"

#include <algorithm>

namespace Vantra::Platform {

HRESULT Palette::InitializeCustom(WICColor* colors, UINT count) {
  if (colors == nullptr || count == 0 || count > kMaximumColours) return E_INVALIDARG;
  std::copy_n(colors, count, colours_.begin());
  count_ = count;
  return S_OK;
}

HRESULT Palette::InitializeFromPalette(IWICPalette* palette) {
  if (palette == nullptr) return E_INVALIDARG;
  std::array<WICColor, kMaximumColours> colours{};
  UINT count = 0;
  const HRESULT result = palette->GetColors(kMaximumColours, colours.data(), &count);
  return FAILED(result) ? result : InitializeCustom(colours.data(), count);
}

HRESULT Palette::GetColorCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = count_;
  return count_ == 0 ? WINCODEC_ERR_NOTINITIALIZED : S_OK;
}

HRESULT Palette::GetColors(UINT count, WICColor* colors, UINT* actual) {
  if (colors == nullptr || actual == nullptr) return E_POINTER;
  *actual = std::min(count, count_);
  std::copy_n(colours_.begin(), *actual, colors);
  return count_ == 0 ? WINCODEC_ERR_NOTINITIALIZED : S_OK;
}

}  // namespace Vantra::Platform

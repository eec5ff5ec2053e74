#pragma once

/// Palettes that a host makes, to receive those of files.

#include <vantrix/platform/wincodec.h>

#include <array>

#include "platform/com/com_object.h"

namespace Vantra::Platform {

constexpr UINT kMaximumColours = 256;

class Palette final : public ComObject<IWICPalette> {
 public:
  HRESULT InitializeCustom(WICColor* colors, UINT count) override;
  HRESULT InitializeFromPalette(IWICPalette* palette) override;
  HRESULT GetColorCount(UINT* count) override;
  HRESULT GetColors(UINT count, WICColor* colors, UINT* actual) override;

 private:
  std::array<WICColor, kMaximumColours> colours_{};
  UINT count_ = 0;
};

}  // namespace Vantra::Platform

#include <vantrix/images/bitmap.h>

namespace Vantra {
namespace {

constexpr int kMovieWidth = 320;
constexpr int kMovieHeight = 240;

}  // namespace

bool Bitmap::LoadSwf(const std::wstring&, int width, int height) {
  if (width < 1) width = kMovieWidth;
  if (height < 1) height = kMovieHeight;
  if (SUCCEEDED(TakeSize(static_cast<UINT>(width), static_cast<UINT>(height)))) ClearPixels();
  file_format_ = FileFormat::kSwf;
  // A player is an outside component, which this system does not have.
  return false;
}

}  // namespace Vantra

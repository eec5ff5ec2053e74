// Posterises a small picture through the device's own target and checks every pixel by the formula.
// It is kept to what a host of the installed library can do.

#include <vantrix/vantrix.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 16;
constexpr int kHeight = 17;
constexpr int kStride = kWidth * 4;
// Every step of 1 / 5 is a whole number of 255ths.
constexpr float kAmout = 5;

unsigned char Expected(unsigned char channel) {
  const double step = std::floor(channel / 255.0 * kAmout + 0.5) / kAmout;
  return static_cast<unsigned char>(std::lround(step * 255.0));
}

int CountFaults(const std::vector<unsigned char>& picture, const unsigned char* frame,
                unsigned pitch) {
  int faults = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kStride; ++x) {
      const unsigned char before = picture[static_cast<std::size_t>(y * kStride + x)];
      const unsigned char after = frame[static_cast<std::size_t>(y) * pitch + x];
      if (after == Expected(before)) continue;
      std::printf("row %d, byte %d: %d became %d, not %d\n", y, x, before, after, Expected(before));
      ++faults;
    }
  }
  return faults;
}

}  // namespace

int main() {
  // Premultiplied: no colour exceeds the alpha. All 256 values occur.
  std::vector<unsigned char> picture;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    const int alpha = i % 256;
    for (const int channel : {alpha / 3, alpha / 2, alpha, alpha}) {
      picture.push_back(static_cast<unsigned char>(channel));
    }
  }

  Vantra::Device device;
  device.Intialize(nullptr);
  device.Resize(kWidth, kHeight);
  int faults = -1;
  device.SetRenderCallback([&](void* data, unsigned width, unsigned height, unsigned pitch) {
    if (width != kWidth || height != kHeight) return;
    faults = CountFaults(picture, static_cast<const unsigned char*>(data), pitch);
  });

  Vantra::Bitmap bitmap;
  bitmap.Create(&device);
  bitmap.SetPixels(picture.data(), kWidth, kHeight, kStride, 0);
  const auto effect = device.GetEffectFactory().CreateEffectByID(L"CLSID_Posterize");
  if (!effect || !effect->Create(&device)) {
    std::printf("the effect cannot be made\n");
    return 1;
  }
  effect->SetAttribute(L"Amout", kAmout);
  effect->SetInput(0, &bitmap);

  device.BeginDraw(nullptr, {0, 0, 0, 0});
  device.DrawImage(effect.get(), nullptr, nullptr, D2D1_INTERPOLATION_MODE_LINEAR,
                   D2D1_COMPOSITE_MODE_SOURCE_OVER);
  device.EndDrawCallback();
  if (faults < 0) std::printf("no frame was delivered\n");
  return faults == 0 ? 0 : 1;
}

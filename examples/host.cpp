// A live host: raw NV12 frames go in, pass two effects in a chain, get a moving bitmap on top, and
// come out in the render callback. Half-way the device is lost on purpose: that one frame is
// missing, and the host goes on. Every byte that arrives is checked against the formulas.

#include <vantrix/vantrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

constexpr int kWidth = 160, kHeight = 90, kStride = 192;  // bytes from row to row, of NV12 frames
constexpr int kFrames = 12, kLostFrame = kFrames / 2, kBadgeSize = 24, kBadgeY = 33;
constexpr int kBadge[4] = {0, 64, 128, 128};  // half transparent, premultiplied, for every pixel
constexpr float kAmouts[2] = {5, 3};          // their steps are whole numbers of 255ths

constexpr int kChromaV = 150;  // beside gradients, of which that of luma moves, as the bitmap does
int Luma(int x, int number) { return 16 + (x + 7 * number) % 220; }
int ChromaU(int y) { return 80 + y / 2; }
int BadgeX(int number) { return 10 * number; }

// Rows of luma, then half as many of U, V pairs.
std::vector<unsigned char> Capture(int number) {
  std::vector<unsigned char> frame(kStride * kHeight * 3 / 2);
  unsigned char* row = frame.data();
  for (int y = 0; y < kHeight * 3 / 2; ++y, row += kStride) {
    for (int x = 0; x < kWidth; ++x) {
      const int chroma = x % 2 == 0 ? ChromaU((y - kHeight) * 2) : kChromaV;
      row[x] = static_cast<unsigned char>(y < kHeight ? Luma(x, number) : chroma);
    }
  }
  return frame;
}

// A byte of a finished frame: conversion, cut to whole steps, both effects, and the bitmap over it.
int Expected(int x, int y, int channel, int number) {
  const double luma = 1.164384 * (Luma(x, number) - 16), u = ChromaU(y) - 128, v = kChromaV - 128;
  const double colors[4] = {luma + 2.017232 * u, luma - 0.8129677 * v - 0.3917623 * u,
                            luma + 1.596027 * v, 255};
  double value = std::floor(std::clamp(colors[channel], 0.0, 255.0));
  for (const double amout : kAmouts) value = std::floor(value / 255 * amout + 0.5) / amout * 255;
  const int right = x - BadgeX(number), down = y - kBadgeY;
  if (right >= 0 && right < kBadgeSize && down >= 0 && down < kBadgeSize) {
    value = kBadge[channel] + value * (255 - kBadge[3]) / 255;
  }
  return static_cast<int>(std::lround(value));
}

class Host : public Vantra::Device {
 public:
  void Start() {
    Intialize(nullptr);
    Resize(kWidth, kHeight);
    SetRenderCallback([this](void* data, unsigned width, unsigned height, unsigned pitch) {
      Receive(static_cast<const unsigned char*>(data), width, height, pitch);
    });
    for (Vantra::Bitmap* bitmap : {&video_, &badge_}) bitmap->Create(this);
    for (VantraFx::Posterize& effect : effects_) effect.Create(this);
    std::vector<unsigned char> badge;
    while (badge.size() < kBadgeSize * kBadgeSize * 4) {
      for (const int byte : kBadge) badge.push_back(static_cast<unsigned char>(byte));
    }
    badge_.SetPixels(badge.data(), kBadgeSize, kBadgeSize, kBadgeSize * 4, 0);
    video_.SetPixelSize(kWidth, kHeight);
    SetUpChain();
  }

  void ShowFrame(int number) {
    number_ = number;
    video_.SetPixelsEx(Capture(number).data(), kWidth, kHeight, kStride, DXGI_FORMAT_NV12);
    if (number == kLostFrame) Vantra::Platform::InjectDeviceLoss(GetD3D11Device());
    BeginDraw(nullptr, {0, 0, 0, 0});
    DrawImage(&effects_[1], D2D1_INTERPOLATION_MODE_LINEAR, D2D1_COMPOSITE_MODE_SOURCE_OVER);
    const auto left = static_cast<float>(BadgeX(number));
    const D2D_RECT_F place = {left, kBadgeY, left + kBadgeSize, kBadgeY + kBadgeSize};
    DrawBitmap(&badge_, &place, 1, D2D1_INTERPOLATION_MODE_LINEAR, nullptr);
    EndDrawCallback();
  }

  bool Report() const {
    std::printf("%d of %d frames, %d loss, %d faults\n", delivered_, kFrames, losses_, faults_);
    return faults_ == 0 && delivered_ == kFrames - 1 && losses_ == 1;
  }

 protected:
  // The bitmaps have their pixels again, the effects neither attributes nor inputs.
  void OnDeviceReCreate() override {
    ++losses_;
    SetUpChain();
  }

 private:
  void SetUpChain() {
    for (int i = 0; i < 2; ++i) effects_[i].SetAttribute(L"Amout", kAmouts[i]);
    effects_[0].SetInput(0, &video_);
    effects_[1].SetInput(0, &effects_[0]);
  }

  void Receive(const unsigned char* data, unsigned width, unsigned height, unsigned pitch) {
    ++delivered_;
    faults_ += width != kWidth || height != kHeight || pitch < kWidth * 4;
    for (int y = 0; faults_ == 0 && y < kHeight; ++y, data += pitch) {
      for (int x = 0; x < kWidth * 4; ++x) {  // a step of 255 is for blending in fixed point
        faults_ += std::abs(data[x] - Expected(x / 4, y, x % 4, number_)) > 1;
      }
    }
  }

  Vantra::Bitmap video_, badge_;
  VantraFx::Posterize effects_[2];
  int number_ = 0, delivered_ = 0, losses_ = 0, faults_ = 0;
};

int main() {
  Host host;
  host.Start();
  for (int number = 0; number < kFrames; ++number) host.ShowFrame(number);
  return host.Report() ? 0 : 1;
}

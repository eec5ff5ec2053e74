// The smallest host: it posterises a ramp of greys and prints the steps that are left of it.

#include <vantrix/vantrix.h>

#include <cstdio>
#include <set>
#include <vector>

int main() {
  std::vector<unsigned char> ramp;  // one row of blue, green, red, alpha bytes
  for (int i = 0; i < 256; ++i) {
    const auto grey = static_cast<unsigned char>(i);
    ramp.insert(ramp.end(), {grey, grey, grey, 255});
  }

  Vantra::Device device;
  device.Intialize(nullptr);
  Vantra::Bitmap input, output;
  input.Create(&device);
  input.SetPixels(ramp.data(), 256, 1, 256 * 4, 0);
  output.Create(&device);
  output.SetPixelSize(256, 1);

  VantraFx::Posterize posterize;
  posterize.Create(&device);
  posterize.SetAttribute(L"Amout", 3.0f);
  posterize.SetInput(0, &input);

  device.BeginDraw(&output);
  posterize.Apply(&output);
  device.EndDrawNoCallback();

  const unsigned char* pixels = output.GetGpuPixels();
  std::set<int> steps;
  for (int i = 0; i < 256; ++i) steps.insert(pixels[4 * i]);
  for (const int step : steps) std::printf("%d ", step);
  std::printf("\n");
}

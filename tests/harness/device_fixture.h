#pragma once

// A started device for tests, with the means to look inside it.

#include <vantrix/sundrix/logger.h>
#include <vantrix/vantrix.h>

#include <gtest/gtest.h>

#include "platform/d3d11/d3d11_objects.h"
#include "render/simd/cpu_engine_internal.h"
#include "render/vulkan/vulkan_engine.h"
#include "render/vulkan/vulkan_engine_internal.h"
#include "tests/harness/picture.h"

namespace Vantra::Testing {

// A device with what tests do on one.
class TestDevice {
 public:
  // Throws where the engine under test is not there: that fails the test.
  void Start() { device_.Intialize(nullptr); }
  // Debug builds run under the validation layer.
  void Stop() {
    device_.Cleanup();
    EXPECT_EQ(Render::ValidationMessageCount(), messages_before_);
  }

  Device& GetDevice() { return device_; }

  Render::Engine& Engine() {
    return dynamic_cast<Platform::Device3D&>(*device_.GetD3D11Device())
        .GetGraphicsDevice()
        ->GetEngine();
  }

  // What the engine has taken from its driver, or from the system, so far.
  std::uint64_t ObjectsMade() {
    return Platform::GetEngineChoice().engine.kind == Platform::EngineKind::kCpu
               ? Render::Simd::BlocksMade(Engine())
               : Render::Vulkan::ObjectsCreated(Engine());
  }

  void Upload(Bitmap& bitmap, const Picture& picture) {
    if (!bitmap.GetContext()) bitmap.Create(&device_);
    bitmap.SetPixels(picture.Bytes(), picture.width, picture.height, picture.width * 4, 0);
  }

  // An empty bitmap to draw into.
  void Prepare(Bitmap& bitmap, int width, int height) {
    bitmap.Create(&device_);
    bitmap.SetPixelSize(width, height);
  }

  static Picture Read(Bitmap& bitmap, const std::string& name = "result") {
    Picture picture(name, static_cast<int>(bitmap.GetWidth()),
                    static_cast<int>(bitmap.GetHeight()));
    std::memcpy(picture.pixels.data(), bitmap.GetGpuPixels(), picture.pixels.size() * 4);
    return picture;
  }

  // Runs a created effect over a picture, in a session of its own.
  Picture Run(Effect& effect, const Picture& picture) {
    Bitmap input;
    Bitmap output;
    Upload(input, picture);
    Prepare(output, picture.width, picture.height);
    effect.SetInput(0, &input);
    ID2D1DeviceContext* context = device_.GetD2DDeviceContext();
    context->BeginDraw();
    effect.Apply(&output);
    EXPECT_EQ(context->EndDraw(nullptr, nullptr), S_OK);
    effect.SetInput(0, static_cast<Bitmap*>(nullptr));
    return Read(output, picture.name);
  }

  static void Set(Effect& effect, const wchar_t* name, const wchar_t* value) {
    const Effect::Attribute attribute{name, value};
    effect.SetAttribute(&attribute);
  }

  static std::wstring Get(Effect& effect, const wchar_t* name) {
    Effect::Attribute attribute{name, L"untouched"};
    effect.GetAttribute(&attribute);
    return attribute.value;
  }

 protected:
  Device device_;

 private:
  std::uint64_t messages_before_ = Render::ValidationMessageCount();
};

class DeviceFixture : public ::testing::Test, protected TestDevice {
 protected:
  // The test class has one of its own.
  using TestDevice::Run;

  void SetUp() override { ASSERT_NO_THROW(Start()); }
  void TearDown() override { Stop(); }
};

// The same with a bitmap of the device.
class BitmapFixture : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    bitmap_.Create(&device_);
  }

  Bitmap bitmap_;
};

// Counts how often it was rebuilt after a loss.
class RebuiltDevice final : public Device {
 public:
  int rebuilt = 0;

 protected:
  void OnDeviceReCreate() override { ++rebuilt; }
};

// Collects what is logged while it lives.
class LogWatch {
 public:
  LogWatch() {
    former_ = sundrix::Logger::GetInstance().SetSink(
        [this](sundrix::log_severity_level level, const std::string& message, const char* function,
               const char*, int) {
          messages.push_back(message);
          places.push_back(std::to_string(level) + " " + function);
        });
  }
  ~LogWatch() { sundrix::Logger::GetInstance().SetSink(std::move(former_)); }

  std::vector<std::string> messages;
  // Level and function of each.
  std::vector<std::string> places;

 private:
  sundrix::Logger::Sink former_;
};

}  // namespace Vantra::Testing

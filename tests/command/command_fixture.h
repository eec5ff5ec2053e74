#pragma once

// Runs the command in a folder of its own.

#include <vantrix/platform/wincodec.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tests/harness/picture.h"

namespace Vantra::Testing {

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::size_t CountLines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class Command : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "vantrix-command-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  // Runs the command in the test's folder.
  Outcome Run(std::vector<std::string> arguments) {
    return Run(std::move(arguments), folder_ / "stderr");
  }
  Outcome Run(std::vector<std::string> arguments, const std::filesystem::path& err) {
    const auto out = folder_ / "stdout";
    const pid_t child = fork();
    if (child == 0) {
      std::vector<char*> argv = {const_cast<char*>(VANTRIX_COMMAND)};
      for (std::string& argument : arguments) argv.push_back(argument.data());
      argv.push_back(nullptr);
      const int flags = O_WRONLY | O_CREAT | O_TRUNC;
      dup2(open(out.c_str(), flags, 0600), STDOUT_FILENO);
      dup2(open(err.c_str(), flags, 0600), STDERR_FILENO);
      if (chdir(folder_.c_str()) == 0) execv(VANTRIX_COMMAND, argv.data());
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out),
                    std::filesystem::is_regular_file(err) ? ReadFile(err) : std::string()};
    return outcome;
  }

  // Runs it where it must fail with that code, and with one line that names the cause.
  void ExpectFailure(int code, const std::string& cause, std::vector<std::string> arguments) {
    const Outcome outcome = Run(std::move(arguments));
    EXPECT_EQ(outcome.code, code) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(CountLines(outcome.err), 1u) << outcome.err;
    EXPECT_NE(outcome.err.find(cause), std::string::npos) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(folder_ / "out.png"));
  }

  // Stores a picture, given as premultiplied pixels of full alpha, as a PNG.
  void Store(const std::string& name, const Picture& picture) {
    WritePng(folder_ / name, static_cast<unsigned>(picture.width),
             static_cast<unsigned>(picture.height), picture.Bytes(), GUID_WICPixelFormat32bppBGRA);
  }

  std::filesystem::path folder_;
};

// A picture file that decodes whole, else a picture without pixels.
inline Picture Decode(const std::filesystem::path& path) {
  CComPtr<IWICImagingFactory2> factory;
  CComPtr<IWICBitmapDecoder> decoder;
  CComPtr<IWICBitmapFrameDecode> frame;
  CComPtr<IWICFormatConverter> converter;
  UINT width = 0;
  UINT height = 0;
  if (FAILED(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                              IID_PPV_ARGS(&factory))) ||
      FAILED(factory->CreateDecoderFromFilename(path.wstring().c_str(), nullptr, GENERIC_READ,
                                                WICDecodeMetadataCacheOnLoad, &decoder)) ||
      FAILED(decoder->GetFrame(0, &frame)) || FAILED(frame->GetSize(&width, &height)) ||
      FAILED(factory->CreateFormatConverter(&converter)) ||
      FAILED(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone,
                                   nullptr, 0, WICBitmapPaletteTypeMedianCut))) {
    return Picture("none", 0, 0);
  }
  Picture picture(path.filename().string(), static_cast<int>(width), static_cast<int>(height));
  const HRESULT result =
      converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(picture.pixels.size() * 4),
                            reinterpret_cast<BYTE*>(picture.pixels.data()));
  return SUCCEEDED(result) ? picture : Picture("none", 0, 0);
}

}  // namespace Vantra::Testing

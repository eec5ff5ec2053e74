#include "platform/imaging/png_writer.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

namespace fs = std::filesystem;

constexpr HRESULT kDiskFull = HRESULT_FROM_WIN32(112);

Bytes ReadFile(const fs::path& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class PngWriter : public testing::Test {
 protected:
  PngWriter() {
    char pattern[] = "/tmp/vantrix-XXXXXX";
    folder_ = mkdtemp(pattern);
    Noise noise(3);
    for (BYTE& value : pixels_) value = static_cast<BYTE>(noise.Below(256));
  }
  ~PngWriter() override { fs::remove_all(folder_); }

  std::size_t FileCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  static constexpr UINT kWidth = 37;
  static constexpr UINT kHeight = 21;
  static constexpr std::size_t kStride = kWidth * 4 + 12;
  fs::path folder_;
  Bytes pixels_ = Bytes(kStride * kHeight);
  PixelRows rows_{pixels_.data(), kStride, kWidth, kHeight, GUID_WICPixelFormat32bppRGBA};
};

TEST_F(PngWriter, WhatIsWrittenIsReadBackToTheByte) {
  const fs::path name = folder_ / "\xC3\xA4.png";
  for (const bool blue_first : {false, true}) {
    rows_.format = blue_first ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat32bppRGBA;
    ASSERT_EQ(WritePng(name.string(), rows_), S_OK);
    const DecodedPicture read = DecodePicture(ReadFile(name));
    ASSERT_TRUE(read.Succeeded());
    ASSERT_EQ(read.width, kWidth);
    ASSERT_EQ(read.height, kHeight);
    for (UINT y = 0; y < kHeight; ++y) {
      for (UINT x = 0; x < kWidth; ++x) {
        const BYTE* in = &pixels_[y * kStride + x * 4];
        const BYTE* out = &read.pixels[(y * kWidth + x) * 4];
        ASSERT_EQ(out[0], in[blue_first ? 2 : 0]);
        ASSERT_EQ(out[1], in[1]);
        ASSERT_EQ(out[2], in[blue_first ? 0 : 2]);
        ASSERT_EQ(out[3], in[3]);
      }
    }
  }
  EXPECT_EQ(FileCount(), 1u);
}

TEST_F(PngWriter, AFailedWriteLeavesTheOldFileAndNothingElse) {
  const fs::path name = folder_ / "a.png";
  std::ofstream(name) << "old";
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  for (const rlim_t most : {0u, 100u, 3000u}) {
    const rlimit tight{most, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight);
    const HRESULT result = WritePng(name.string(), rows_);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(result, kDiskFull);
    EXPECT_EQ(ReadFile(name), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(FileCount(), 1u);
  }
  std::signal(SIGXFSZ, SIG_DFL);
}

TEST_F(PngWriter, LinksDevicesAndPermissionsStayWhatTheyAre) {
  const fs::path real = folder_ / "real.png";
  const fs::path link = folder_ / "link.png";
  std::ofstream(real) << "old";
  chmod(real.c_str(), 0640);
  fs::create_symlink("real.png", link);
  EXPECT_EQ(WritePng(link.string(), rows_), S_OK);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(fs::status(real).permissions(), fs::perms{0640});
  EXPECT_TRUE(DecodePicture(ReadFile(real)).Succeeded());
  EXPECT_EQ(WritePng("/dev/full", rows_), kDiskFull);
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(PngWriter, RefusesWhatItCannotWrite) {
  EXPECT_EQ(WritePng(folder_.string(), rows_), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  EXPECT_EQ(WritePng((folder_ / "none" / "a.png").string(), rows_),
            HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  const std::string name = (folder_ / "a.png").string();
  PixelRows rows = rows_;
  rows.format = GUID_WICPixelFormat32bppPBGRA;
  EXPECT_EQ(WritePng(name, rows), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  rows = rows_;
  rows.stride = kWidth * 4 - 1;
  EXPECT_EQ(WritePng(name, rows), E_INVALIDARG);
  rows = rows_;
  rows.height = 0;
  EXPECT_EQ(WritePng(name, rows), E_INVALIDARG);
  EXPECT_EQ(FileCount(), 0u);
}

}  // namespace
}  // namespace Vantra::Platform

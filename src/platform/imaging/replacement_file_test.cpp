#include "platform/imaging/replacement_file.h"

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

class ReplacementFiles : public testing::Test {
 protected:
  ReplacementFiles() {
    char pattern[] = "/tmp/vantrix-XXXXXX";
    folder_ = mkdtemp(pattern);
  }
  ~ReplacementFiles() override { fs::remove_all(folder_); }

  std::size_t FileCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  // More than a buffer of the C library, so that some of it is written when the file is closed.
  static HRESULT Replace(const fs::path& name) {
    return ReplaceFile(name.string(), [](std::FILE* file) {
      const Bytes bytes(kSize, 7);
      return std::fwrite(bytes.data(), 1, kSize, file) == kSize ? S_OK : kDiskFull;
    });
  }

  static constexpr std::size_t kSize = 6000;
  fs::path folder_;
};

TEST_F(ReplacementFiles, AFailedWriteLeavesTheOldFileAndNothingElse) {
  const fs::path name = folder_ / "a.png";
  std::ofstream(name) << "old";
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  for (const rlim_t most : {0u, 100u, 5000u}) {
    const rlimit tight{most, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight);
    const HRESULT result = Replace(name);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(result, kDiskFull);
    EXPECT_EQ(ReadFile(name), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(FileCount(), 1u);
  }
  std::signal(SIGXFSZ, SIG_DFL);
}

TEST_F(ReplacementFiles, LinksDevicesAndPermissionsStayWhatTheyAre) {
  const fs::path real = folder_ / "real.png";
  const fs::path link = folder_ / "link.png";
  std::ofstream(real) << "old";
  chmod(real.c_str(), 0640);
  fs::create_symlink("real.png", link);
  EXPECT_EQ(Replace(link), S_OK);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(fs::status(real).permissions(), fs::perms{0640});
  EXPECT_EQ(ReadFile(real).size(), kSize);
  EXPECT_EQ(Replace("/dev/full"), kDiskFull);
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(ReplacementFiles, RefusesWhatItCannotWrite) {
  EXPECT_EQ(Replace(folder_), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  EXPECT_EQ(Replace(folder_ / "none" / "a.png"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(ReplaceFile((folder_ / "a.png").string(), [](std::FILE*) { return E_FAIL; }), E_FAIL);
  EXPECT_EQ(FileCount(), 0u);
}

}  // namespace
}  // namespace Vantra::Platform

#include <vantrix/device/comparestring.h>
#include <vantrix/device/dexception.h>

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace Vantra {
namespace {

TEST(Reports, AReportNamesItsPlaceAndCodeAndOwnsItsText) {
  std::string file = "a.cpp";
  try {
    ThrowDException(file.c_str(), "Vantra::F", 12, 1004, "save failed: 0x%x", 0x80004005u);
    FAIL();
  } catch (const DException& error) {
    file.assign("xxxxx");
    EXPECT_STREQ(error.what(),
                 "[file] a.cpp\n[function] Vantra::F\n[line] 12\n[error] 1004\n"
                 "save failed: 0x80004005");
    EXPECT_EQ(error.GetError(), 1004);
  }
  try {
    ThrowDException("b.cpp", "G", 1, 2);
    FAIL();
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "[file] b.cpp\n[function] G\n[line] 1\n[error] 2\n");
  }
}

TEST(Reports, ALongReportIsCutAndStillThrown) {
  const std::string name(600, 'x');
  const std::string message(600, 'y');
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(ThrowDException(name.c_str(), "F", 1, 1), DException);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  ::testing::internal::CaptureStderr();
  EXPECT_THROW(ThrowDException(name.c_str(), "F", 1, 1, "%s", message.c_str()), DException);
  const std::string written = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(written.substr(0, 513), "[file] " + name.substr(0, 504) + ": ");
  try {
    ThrowDException("f", "F", 1, 1, "%s", message.c_str());
  } catch (const DException& error) {
    EXPECT_EQ(std::strlen(error.what()), 511u);
    EXPECT_EQ(std::string(error.what()).substr(0, 9), "[file] f\n");
  }
}

TEST(CompareString, EqualityWithAndWithoutCaseAndLength) {
  EXPECT_EQ(CompareStringW(L"Ab", L"aB"), 0);
  EXPECT_EQ(CompareStringNoCase(L"Ab", L"aB"), 1);
  EXPECT_EQ(CompareStringW(L"ab", L"ab"), 1);
  EXPECT_EQ(CompareStringW(L"ab", L"abc"), 0);
  EXPECT_EQ(CompareStringW(L"", L""), 1);
  for (const auto& [a, b] : {std::pair<const wchar_t*, const wchar_t*>{nullptr, L""},
                             {L"", nullptr},
                             {nullptr, nullptr}}) {
    EXPECT_EQ(CompareStringW(a, b), 0);
    EXPECT_EQ(CompareStringNoCase(a, b), 0);
    EXPECT_EQ(CompareStringW(a, b, 0), 0);
  }
  EXPECT_EQ(CompareStringW(L"abX", L"abY", 2), 1);
  EXPECT_EQ(CompareStringW(L"abX", L"abY", 3), 0);
  EXPECT_EQ(CompareStringNoCase(L"ABx", L"aby", 2), 1);
  EXPECT_EQ(CompareStringW(L"ab", L"abc", 2), 1);
  EXPECT_EQ(CompareStringW(L"ab", L"abc", 3), 0);
  EXPECT_EQ(CompareStringW(L"ab", L"ab", 9), 1);
  EXPECT_EQ(CompareStringW(L"a", L"b", 0), 1);
  EXPECT_EQ(CompareStringW(L"a", L"b", -1), 1);
}

}  // namespace
}  // namespace Vantra

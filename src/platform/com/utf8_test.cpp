#include "platform/com/utf8.h"

#include <gtest/gtest.h>

namespace Vantra::Platform {
namespace {

TEST(Utf8, EveryCodePointSurvivesTheRoundTrip) {
  std::wstring all;
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code < 0xD800 || code > 0xDFFF) all.push_back(static_cast<wchar_t>(code));
  }
  const std::string bytes = ToUtf8(all);
  // 1 byte below 0x80, 2 below 0x800, 3 below 0x10000 without the surrogates, 4 above.
  EXPECT_EQ(bytes.size(), 0x80u + 2 * 0x780u + 3 * (0xF800u - 0x800u) + 4 * 0x100000u);
  EXPECT_EQ(FromUtf8(bytes), all);
  EXPECT_EQ(ToUtf8(L"\u00e4\u20ac\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf8, WhatIsNoTextIsReplacedOneWayAndRefusedTheOther) {
  const wchar_t bad[] = {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000),
                         static_cast<wchar_t>(0xFFFFFFFF)};
  EXPECT_EQ(ToUtf8({bad, 3}), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  for (const char* bytes : {
           "\x80",              // a follower alone
           "a\xC3",             // cut off
           "\xE2\x82",          // cut off
           "\xC3z",             // a follower missing
           "\xC0\x80",          // overlong
           "\xE0\x9F\xBF",      // overlong
           "\xF0\x8F\xBF\xBF",  // overlong
           "\xED\xA0\x80",      // surrogate
           "\xF4\x90\x80\x80",  // beyond the last code point
           "\xF8\x88\x80\x80\x80",
           "\xFF",
       }) {
    EXPECT_EQ(FromUtf8(bytes), std::nullopt);
  }
}

}  // namespace
}  // namespace Vantra::Platform

#include "platform/resources/resource.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace Vantra::Platform {
namespace {

TEST(Resources, EachIsFoundByItsNameInAnyCaseAndHoldsAProgramIfItIsAShader) {
  const std::span<const ResourceEntry> all = GetResourceTable();
  ASSERT_FALSE(all.empty());
  EXPECT_TRUE(std::is_sorted(all.begin(), all.end(),
                             [](const auto& a, const auto& b) { return a.name < b.name; }));
  for (const ResourceEntry& entry : all) {
    std::wstring name(entry.name.begin(), entry.name.end());
    ASSERT_EQ(FindResourceW(nullptr, name.c_str(), RT_RCDATA), &entry) << entry.name;
    for (std::size_t i = 0; i < name.size(); i += 2) {
      if (name[i] >= L'A' && name[i] <= L'Z') name[i] += L'a' - L'A';
    }
    const HRSRC found = FindResourceW(nullptr, name.c_str(), RT_RCDATA);
    ASSERT_EQ(found, &entry) << entry.name;
    const void* bytes = LockResource(LoadResource(nullptr, found));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 16, 0u) << entry.name;
    if (entry.name.starts_with("IDR_PS_")) {
      std::uint32_t magic = 0;
      ASSERT_GT(SizeofResource(nullptr, found), 20u) << entry.name;
      EXPECT_EQ(SizeofResource(nullptr, found) % 4, 0u) << entry.name;
      std::memcpy(&magic, bytes, sizeof magic);
      EXPECT_EQ(magic, 0x07230203u) << entry.name;
    }
  }
}

TEST(Resources, WhatIsNotThereIsNull) {
  const ResourceEntry& first = GetResourceTable().front();
  const std::wstring name(first.name.begin(), first.name.end());
  int object = 0;
  const auto module = reinterpret_cast<HMODULE>(&object);
  EXPECT_EQ(FindResourceW(module, name.c_str(), RT_RCDATA), nullptr);
  EXPECT_EQ(FindResourceW(nullptr, name.c_str(), MAKEINTRESOURCEW(2)), nullptr);
  EXPECT_EQ(FindResourceW(nullptr, name.c_str(), L"RCDATA"), nullptr);
  EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(1), RT_RCDATA), nullptr);
  EXPECT_EQ(FindResourceW(nullptr, nullptr, RT_RCDATA), nullptr);
  for (const std::wstring& other :
       {std::wstring(), name + L"X", name.substr(0, name.size() - 1), std::wstring(L"\u017F")}) {
    EXPECT_EQ(FindResourceW(nullptr, other.c_str(), RT_RCDATA), nullptr);
  }
  EXPECT_EQ(SizeofResource(nullptr, nullptr), 0u);
  EXPECT_EQ(LoadResource(nullptr, nullptr), nullptr);
  EXPECT_EQ(LockResource(nullptr), nullptr);
}

}  // namespace
}  // namespace Vantra::Platform

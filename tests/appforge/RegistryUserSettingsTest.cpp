#include "appforge/RegistryUserSettings.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "base/Registry.h"
#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using testing::ErrorOf;

constexpr char16_t kApplication[] = u"Pylon settings test";
constexpr char16_t kRoot[] = u"Software\\VB and VBA Program Settings\\Pylon settings test";

class RegistrySettings : public ::testing::Test {
 protected:
  void SetUp() override { Remove(); }
  void TearDown() override { Remove(); }

  // A value of the application's section "Options", by plain calls.
  static void Put(const wchar_t* name, DWORD type, std::string_view bytes) {
    const std::u16string path = kRoot + std::u16string(u"\\Options");
    RegistryKey key;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, Wide(path), 0, nullptr, 0, KEY_SET_VALUE,
                                nullptr, key.Receive(), nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(
        ::RegSetValueExW(key.get(), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                         static_cast<DWORD>(bytes.size())),
        ERROR_SUCCESS);
  }
  std::string Read(std::u16string_view section, std::u16string_view key) {
    const auto value = settings_.Read(kApplication, section, key);
    return value ? ToUtf8(*value) : "none";
  }
  void Write(std::u16string_view section, std::u16string_view key, std::u16string_view value) {
    settings_.Write(kApplication, section, key, value);
  }
  bool Delete(std::u16string_view section, std::u16string_view key) {
    return settings_.Delete(kApplication, section, key);
  }

  RegistryUserSettings settings_;

 private:
  static void Remove() { DeleteRegistryTree(HKEY_CURRENT_USER, kRoot); }
};

TEST_F(RegistrySettings, WhatIsSavedIsReadUntilItIsDeleted) {
  EXPECT_EQ(Read(u"Options", u"Font"), "none");
  EXPECT_FALSE(Delete(u"Options", u"Font"));
  Write(u"Options", u"Font", u"Tahoma");
  Write(u"Options", u"Size", u"");
  Write(u"Options\\More", u"a\\b", u"\u4F60\u597D");
  EXPECT_EQ(Read(u"options", u"FONT"), "Tahoma");
  EXPECT_EQ(Read(u"Options", u"Size"), "");
  EXPECT_EQ(Read(u"Options\\More", u"a\\b"), ToUtf8(u"\u4F60\u597D"));
  EXPECT_EQ(Read(u"Options", u"More"), "none");
  Write(u"Options", u"Font", std::u16string(100000, u'x'));
  EXPECT_EQ(Read(u"Options", u"Font"), std::string(100000, 'x'));
  EXPECT_TRUE(Delete(u"Options", u"Font"));
  EXPECT_FALSE(Delete(u"Options", u"Font"));
  EXPECT_EQ(Read(u"Options", u"Font"), "none");
  EXPECT_EQ(Read(u"Options", u"Size"), "");
}

TEST_F(RegistrySettings, AreWhereBasicProgramsKeepThem) {
  Write(u"Options", u"Font", u"Arial");
  const RegistryText stored =
      QueryRegistryText(HKEY_CURRENT_USER, kRoot + std::u16string(u"\\Options"), L"Font");
  EXPECT_EQ(stored.status, ERROR_SUCCESS);
  EXPECT_EQ(stored.text, u"Arial");
}

TEST_F(RegistrySettings, OnlyTextIsRead) {
  using namespace std::string_view_literals;
  const struct {
    DWORD type;
    std::string_view bytes;
    const char* text;
  } cases[] = {{REG_SZ, "a\0b\0\0\0"sv, "ab"},
               {REG_SZ, "a\0b\0"sv, "ab"},
               {REG_SZ, "a\0b"sv, "a"},
               {REG_SZ, ""sv, ""},
               {REG_SZ, "a\0\0\0b\0\0\0"sv, "a"},
               {REG_EXPAND_SZ, "%\0T\0%\0\0\0"sv, "%T%"},
               {REG_DWORD, "\1\0\0\0"sv, "none"},
               {REG_BINARY, "a\0\0\0"sv, "none"},
               {REG_MULTI_SZ, "a\0\0\0\0\0"sv, "none"}};
  for (const auto& c : cases) {
    Put(L"Value", c.type, c.bytes);
    EXPECT_EQ(Read(u"Options", u"Value"), c.text) << &c - cases;
  }
  Write(u"Options", u"Value", u"now a text");
  EXPECT_EQ(Read(u"Options", u"Value"), "now a text");
}

TEST_F(RegistrySettings, NamesThatTheRegistryCantHoldAreRefused) {
  const std::u16string longest(255, u's');
  const std::u16string too_long(256, u's');
  const std::u16string long_key(16384, u'k');
  Write(longest + u"\\" + longest, u"Key", u"deep");
  EXPECT_EQ(Read(longest + u"\\" + longest, u"Key"), "deep");
  EXPECT_EQ(ErrorOf([&] { Write(too_long, u"Key", u""); }), 5);
  EXPECT_EQ(ErrorOf([&] { Write(u"Options", long_key, u""); }), 5);
  EXPECT_EQ(ErrorOf([&] { Delete(too_long, u"Key"); }), 5);
  EXPECT_EQ(Read(u"Options\\" + too_long, u"Key"), "none");
  EXPECT_EQ(Read(u"Options", long_key), "none");
}

}  // namespace
}  // namespace pylon

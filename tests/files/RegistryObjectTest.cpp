#include "files/RegistryObject.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/Text.h"
#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

using namespace std::literals;
using testing::ToBytes;
using Texts = std::vector<std::u16string>;

RegistryValue Tagged(TaggedValue value) { return value; }
RegistryValue Text(std::u16string_view text) { return Tagged(std::u16string(text)); }

// The bytes of the registry's own UTF-16.
std::string Utf16(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

struct Raw {
  DWORD type = REG_NONE;
  std::string data;
  bool operator==(const Raw&) const = default;
};
void PrintTo(const Raw& raw, std::ostream* out) {
  *out << "type " << raw.type << " " << ::testing::PrintToString(raw.data);
}

// A key of its own below HKEY_CURRENT_USER, written and judged by plain Windows calls.
class RegistryObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, Wide(path_), 0, nullptr, REG_OPTION_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, key_.Receive(), nullptr),
              ERROR_SUCCESS);
  }
  void TearDown() override {
    key_.Reset();
    ::RegDeleteTreeW(HKEY_CURRENT_USER, Wide(path_));
  }

  RegistryObject::KeyHandle key() const {
    return reinterpret_cast<RegistryObject::KeyHandle>(key_.get());
  }
  void Store(const wchar_t* name, DWORD type, std::string_view data) {
    ASSERT_EQ(
        ::RegSetValueExW(key_.get(), name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                         static_cast<DWORD>(data.size())),
        ERROR_SUCCESS);
  }
  Raw Stored(const wchar_t* name) {
    Raw raw;
    DWORD size = 256;
    raw.data.resize(size);
    if (::RegQueryValueExW(key_.get(), name, nullptr, &raw.type,
                           reinterpret_cast<BYTE*>(raw.data.data()), &size) != ERROR_SUCCESS) {
      return {REG_NONE, kMissing};
    }
    raw.data.resize(size);
    return raw;
  }
  bool Exists(const wchar_t* name) { return Stored(name).data != kMissing; }

  static constexpr char kMissing[] = "no such value";
  const std::u16string path_ = u"Software\\Pylon test " + ToText(::GetCurrentProcessId());
  RegistryKey key_;
};

TEST_F(RegistryObjectTest, ReadsEveryTypeAndLength) {
  const struct {
    const char* name;
    DWORD type;
    std::string data;
    RegistryValue value;
  } cases[] = {
      {"text", REG_SZ, Utf16(u"caf\u00e9\0"sv), Text(u"caf\u00e9")},
      {"text without its NUL", REG_SZ, Utf16(u"abc"), Text(u"abc")},
      {"text of a NUL", REG_SZ, Utf16(u"\0"sv), Text(u"")},
      {"text with more behind", REG_SZ, Utf16(u"ab\0c\0"sv), Text(u"ab\0c"sv)},
      {"text of odd length", REG_SZ, Utf16(u"ab") + 'c', Text(u"ab")},
      {"text with variables", REG_EXPAND_SZ, Utf16(u"%X%\0"sv), Text(u"%X%")},
      {"texts", REG_MULTI_SZ, Utf16(u"a\0bc\0\0"sv), Texts{u"a", u"bc"}},
      {"texts without the last NUL", REG_MULTI_SZ, Utf16(u"a\0bc\0"sv), Texts{u"a", u"bc"}},
      {"texts without both", REG_MULTI_SZ, Utf16(u"a\0bc"sv), Texts{u"a", u"bc"}},
      {"texts, one empty", REG_MULTI_SZ, Utf16(u"a\0\0bc\0\0"sv), Texts{u"a", u"", u"bc"}},
      {"texts, empty at both ends", REG_MULTI_SZ, Utf16(u"\0a\0\0\0"sv), Texts{u"", u"a", u""}},
      {"an empty text", REG_MULTI_SZ, Utf16(u"\0\0"sv), Texts{u""}},
      {"no texts", REG_MULTI_SZ, Utf16(u"\0"sv), Texts{}},
      {"1 byte", REG_BINARY, "\xFE", Tagged(uint8_t{254})},
      {"2 bytes", REG_BINARY, "\xFE\xFF", Tagged(int16_t{-2})},
      {"3 bytes", REG_BINARY, "abc", ToBytes("abc")},
      {"4 bytes", REG_BINARY, "\1\2\3\x84", Tagged(int32_t{-0x7BFCFDFF})},
      {"5 bytes", REG_BINARY, "\0bcd\0"s, ToBytes("\0bcd\0"sv)},
      {"number", REG_DWORD, "\1\2\0\0"s, Tagged(int32_t{0x201})},
      {"number of 1 byte", REG_DWORD, "\xFF", Tagged(int32_t{255})},
      {"number of 3 bytes", REG_DWORD, "\1\0\x80"s, Tagged(int32_t{0x800001})},
      {"number of 6 bytes", REG_DWORD, "\1\0\0\0\2\3"s, Tagged(int32_t{1})},
      {"64-bit number", REG_QWORD, "ABCDEFG\0"s, Text(u"ABCDEFG")},
      {"no type", REG_NONE, "xyz", Text(u"xyz")}};
  for (const auto& c : cases) {
    Store(L"value", c.type, c.data);
    EXPECT_EQ(RegistryObject::GetValue(key(), u"value"), c.value) << c.name;
  }
  const DWORD empty_types[] = {REG_SZ, REG_BINARY, REG_MULTI_SZ, REG_DWORD};
  for (const DWORD type : empty_types) {
    Store(L"value", type, "");
    EXPECT_EQ(RegistryObject::GetValue(key(), u"value"), RegistryValue()) << type;
    EXPECT_EQ(RegistryObject::GetValue(key(), u"value", Text(u"new")), Text(u"new")) << type;
    EXPECT_EQ(Stored(L"value").type, DWORD{REG_SZ}) << "the default takes its place";
  }
}

TEST_F(RegistryObjectTest, StoresEveryKindOfValue) {
  const struct {
    const char* name;
    RegistryValue value;
    Raw stored;
  } cases[] = {{"text", Text(u"caf\u00e9"), {REG_SZ, Utf16(u"caf\u00e9\0"sv)}},
               {"empty text", Text(u""), {REG_SZ, Utf16(u"\0"sv)}},
               {"texts", Texts{u"a", u"b"}, {REG_MULTI_SZ, Utf16(u"a\0b\0\0"sv)}},
               {"empty texts", Texts{u"", u"a", u""}, {REG_MULTI_SZ, Utf16(u"\0a\0\0\0"sv)}},
               {"an empty text alone", Texts{u""}, {REG_MULTI_SZ, Utf16(u"\0\0"sv)}},
               {"no texts", Texts{}, {REG_MULTI_SZ, Utf16(u"\0"sv)}},
               {"bytes", ToBytes("\x05\xFF\x00"sv), {REG_MULTI_SZ, Utf16(u"5\000255\0000\0\0"sv)}},
               {"byte", Tagged(uint8_t{200}), {REG_BINARY, "\xC8"}},
               {"true", Tagged(true), {REG_BINARY, "\1"}},
               {"false", Tagged(false), {REG_BINARY, "\0"s}},
               {"16-bit number", Tagged(int16_t{-2}), {REG_DWORD, "\xFE\xFF\xFF\xFF"}},
               {"32-bit number", Tagged(int32_t{0x201}), {REG_DWORD, "\1\2\0\0"s}},
               {"single", Tagged(2.0F), {REG_SZ, Utf16(u"2\0"sv)}},
               {"double", Tagged(-3.0), {REG_SZ, Utf16(u"-3\0"sv)}},
               {"currency", Tagged(Currency{70'000}), {REG_SZ, Utf16(u"7\0"sv)}},
               {"empty value", Tagged({}), {REG_SZ, Utf16(u"\0"sv)}}};
  for (const auto& c : cases) {
    EXPECT_EQ(RegistryObject::SetValue(key(), u"value", c.value), 0) << c.name;
    EXPECT_EQ(Stored(L"value"), c.stored) << c.name;
  }
  EXPECT_EQ(RegistryObject::SetValue(key(), u"value", Tagged(DateStamp{40'000})), 0);
  EXPECT_NE(TextIn(RegistryObject::GetValue(key(), u"value")).find(u"2009"), std::u16string::npos);
}

TEST_F(RegistryObjectTest, AMissingValueBecomesTheDefaultOrStaysMissing) {
  EXPECT_EQ(RegistryObject::GetValue(key(), u"new"), RegistryValue());
  EXPECT_FALSE(Exists(L"new"));
  EXPECT_EQ(RegistryObject::GetValue(key(), u"new", Text(u"text")), Text(u"text"));
  EXPECT_EQ(Stored(L"new"), (Raw{REG_SZ, Utf16(u"text\0"sv)}));
  EXPECT_EQ(RegistryObject::GetValue(key(), u"new", Text(u"other")), Text(u"text"));
  EXPECT_EQ(RegistryObject::DeleteValue(key(), u"new"), 0);
  EXPECT_FALSE(Exists(L"new"));
  EXPECT_NE(RegistryObject::DeleteValue(key(), u"new"), 0);

  EXPECT_EQ(RegistryObject::GetValue(key(), u"", Tagged(true)), Tagged(true)) << "the unnamed one";
  EXPECT_EQ(RegistryObject::GetValue(key(), u""), Tagged(uint8_t{1}));
  EXPECT_EQ(RegistryObject::GetValue(RegistryObject::kNoKey, u"new", Text(u"x")), Text(u"x"));
}

TEST_F(RegistryObjectTest, OpeningMakesAKeyEvenToReadIt) {
  // A key that goes with the session holds none that lasts.
  EXPECT_EQ(RegistryObject::OpenKey(key(), u"lasting", false), RegistryObject::kNoKey);

  const std::u16string lasting = path_ + u" lasting";
  const OpenRegistryKey made(
      RegistryObject::OpenKey(RegistryObject::kCurrentUser, lasting + u"\\sub", true));
  ASSERT_TRUE(made);
  RegistryKey plain;
  EXPECT_EQ(
      ::RegOpenKeyExW(HKEY_CURRENT_USER, Wide(lasting + u"\\sub"), 0, KEY_READ, plain.Receive()),
      ERROR_SUCCESS);
  EXPECT_NE(RegistryObject::SetValue(made.get(), u"value", Text(u"x")), 0) << "read only";
  EXPECT_EQ(RegistryObject::GetValue(made.get(), u"value", Text(u"x")), Text(u"x"));
  EXPECT_EQ(RegistryObject::GetValue(made.get(), u"value"), RegistryValue());

  EXPECT_NE(RegistryObject::DeleteKey(RegistryObject::kCurrentUser, lasting), 0) << "has a subkey";
  EXPECT_EQ(RegistryObject::DeleteKey(RegistryObject::kCurrentUser, lasting + u"\\sub"), 0);
  EXPECT_EQ(RegistryObject::DeleteKey(RegistryObject::kCurrentUser, lasting), 0);
  EXPECT_NE(RegistryObject::DeleteKey(RegistryObject::kCurrentUser, lasting), 0);
}

TEST_F(RegistryObjectTest, WhatTheCodePageLacksReachesNoOtherValue) {
  Store(L"A", REG_SZ, Utf16(u"x\0"sv));
  Store(L"?", REG_SZ, Utf16(u"x\0"sv));
  for (const std::u16string& foreign : {u"\u0100"s, u"\u4e2d"s, u"A\0b"s, u"\xD800"s}) {
    // A code page of these characters may have them; it never has the rest.
    if (foreign.find(u'\0') == foreign.npos && RegistryObject::CanStore(foreign)) continue;
    SCOPED_TRACE(ToUtf8(foreign));
    EXPECT_EQ(RegistryObject::GetValue(key(), foreign), RegistryValue());
    EXPECT_NE(RegistryObject::SetValue(key(), foreign, Text(u"y")), 0);
    EXPECT_NE(RegistryObject::DeleteValue(key(), foreign), 0);
    EXPECT_NE(RegistryObject::DeleteKey(key(), foreign), 0);
    EXPECT_EQ(RegistryObject::OpenKey(key(), foreign, true), RegistryObject::kNoKey);
    if (foreign.find(u'\0') != foreign.npos) continue;  // a text may hold it
    EXPECT_NE(RegistryObject::SetValue(key(), u"A", Text(foreign)), 0);
    EXPECT_NE(RegistryObject::SetValue(key(), u"A", Texts{u"a", foreign}), 0);
  }
  EXPECT_EQ(Stored(L"A"), (Raw{REG_SZ, Utf16(u"x\0"sv)}));
  EXPECT_EQ(Stored(L"?"), (Raw{REG_SZ, Utf16(u"x\0"sv)}));
}

// A value that grows between the question for its size and the reading is read again.
TEST_F(RegistryObjectTest, AValueThatChangesMeanwhileIsReadWhole) {
  const std::u16string short_text = u"s";
  const std::u16string long_text(5'000, u'l');
  std::atomic<bool> stop = false;
  RegistryObject::SetValue(key(), u"value", Text(short_text));
  std::thread writer([&] {
    for (bool longer = true; !stop; longer = !longer) {
      RegistryObject::SetValue(key(), u"value", Text(longer ? long_text : short_text));
    }
  });
  for (int i = 0; i < 1'000; ++i) {
    const std::u16string text = TextIn(RegistryObject::GetValue(key(), u"value"));
    if (text != short_text && text != long_text) {
      ADD_FAILURE() << text.size() << " characters in read " << i;
      break;
    }
  }
  stop = true;
  writer.join();
}

}  // namespace
}  // namespace pylon

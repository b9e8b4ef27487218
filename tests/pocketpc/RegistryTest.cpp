// The device's registry.

#include "tests/pocketpc/SimulatedDevice.h"

namespace pocketpc::testing {
namespace {

class RegistryTest : public SimulatedDevice {
 protected:
  // "type:" and the bytes in hexadecimal, as a program asks: the size first. Or the error.
  std::string Value(HKEY key, const wchar_t* name) const {
    DWORD type = 0;
    DWORD size = 0;
    LONG error = rapi.CeRegQueryValueEx(key, name, nullptr, &type, nullptr, &size);
    if (error != ERROR_SUCCESS) return std::to_string(error);
    std::vector<BYTE> data(size + 1, 0xEE);
    error = rapi.CeRegQueryValueEx(key, name, nullptr, &type, data.data(), &size);
    if (error != ERROR_SUCCESS) return "then " + std::to_string(error);
    EXPECT_EQ(data.back(), 0xEE);
    std::string text = std::to_string(type) + ":";
    for (size_t i = 0; i < size; ++i) {
      char digits[4];
      std::snprintf(digits, sizeof digits, " %02x", data[i]);
      text += digits;
    }
    return text;
  }
};

TEST_F(RegistryTest, ValuesOfEveryForm) {
  Connect(
      "[HKLM\\Ident]\nQuoted=\" a \"\nEmpty=\nOrigName=dword:0000ABcd\n"
      "Bytes=hex:01,2,ff\nNone=hex:\nUnended=hex(1):41,00,42,00\nMulti=hex(7):00,00\n@=default\n"
      "[HKCU\\ControlPanel\\Owner]\n");
  HKEY key = nullptr;
  ASSERT_EQ(rapi.CeRegOpenKeyEx(HKEY_LOCAL_MACHINE, L"ident", 0, 0, &key), ERROR_SUCCESS);
  const struct {
    const wchar_t* name;
    const char* value;
  } cases[] = {
      {L"quoted", "1: 20 00 61 00 20 00 00 00"},
      {L"Empty", "1: 00 00"},
      {L"OrigName", "4: cd ab 00 00"},
      {L"Bytes", "3: 01 02 ff"},
      {L"None", "3:"},
      {L"Unended", "1: 41 00 42 00"},
      {L"Multi", "7: 00 00"},
      {L"", "1: 64 00 65 00 66 00 61 00 75 00 6c 00 74 00 00 00"},
      {nullptr, "1: 64 00 65 00 66 00 61 00 75 00 6c 00 74 00 00 00"},
      {L"Other", "2"},
  };
  for (const auto& c : cases) EXPECT_EQ(Value(key, c.name), c.value) << c.value;

  DWORD size = 2;
  BYTE data[4] = {7, 7, 7, 7};
  EXPECT_EQ(rapi.CeRegQueryValueEx(key, L"OrigName", nullptr, nullptr, data, &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(data[0], 7);
  EXPECT_EQ(rapi.CeRegQueryValueEx(key, L"OrigName", nullptr, nullptr, data, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rapi.CeRegQueryValueEx(key, L"OrigName", nullptr, nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(rapi.CeRegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(rapi.CeRegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(Value(key, L"Name"), "6");
}

}  // namespace
}  // namespace pocketpc::testing

#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Bytes.h"
#include "base/Com.h"
#include "tests/automation/Processes.h"
#include "tests/palm/TestConduit.h"

namespace pylon::palm::testing {

using Lines = std::vector<std::string>;

// What a late-bound call came back with: a result in short words ("ok", or eight hex digits), and a
// value.
struct Outcome {
  std::string result;
  com::Variant value;
  std::string words;  // the error's description

  int32_t Number() const;
  std::string Text() const;
  std::string AsBytes() const;  // of a byte array; "none" for no value
};

// A variable that a call fills.
class Variable {
 public:
  Variable() = default;
  explicit Variable(int32_t value) : value_(value) {}
  static Variable OfBytes(std::string_view bytes);
  VARIANT* Ref() { return value_.get(); }
  int32_t Number() const;
  std::string AsBytes() const;
  std::string Text() const;

 private:
  com::Variant value_;
};

// A call's argument, by value or by reference.
struct Argument {
  Argument(int32_t value);
  Argument(bool value);
  Argument(const char16_t* text);
  Argument(VARIANT* variable);  // VT_BYREF | VT_VARIANT, as scripts pass them
  Argument(com::Variant given) : value(std::move(given)) {}
  Argument(Argument&&) = default;
  com::Variant value;
};
Argument ByteArray(std::string_view bytes);

// An object of the suite, called by name.
class Late {
 public:
  Late() = default;
  explicit Late(com::Ptr<IDispatch> object) : object_(std::move(object)) {}
  explicit Late(Outcome&& outcome);  // of a call that gives an object
  // The object of a class, or the reason why there is none.
  static Late Create(const wchar_t* prog_id, std::string* result = nullptr);

  template <class... Arguments>
  Outcome Call(const wchar_t* name, Arguments&&... arguments) const {
    Argument list[] = {Argument(std::forward<Arguments>(arguments))..., Argument(0)};
    return Invoke(name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, list, sizeof...(arguments));
  }
  Outcome Put(const wchar_t* name, int32_t value) const {
    Argument list[] = {Argument(value)};
    return Invoke(name, DISPATCH_PROPERTYPUT, list, 1);
  }
  explicit operator bool() const { return static_cast<bool>(object_); }
  DISPID IdOf(const wchar_t* name) const;

 private:
  Outcome Invoke(const wchar_t* name, WORD flags, Argument* arguments, size_t count) const;

  com::Ptr<IDispatch> object_;
};

// Runs the real PalmSimulator.exe with the test's conduit, in a folder of the test's own.
class SuiteSession : public ::testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
  SuiteSession();
  ~SuiteSession() override;

  // A whole session with these settings; the body is what the conduit does. Its exit code.
  int Sync(std::string_view settings, const std::function<void()>& body);
  // Another command of the program; what it says goes to `said`.
  int Run(const std::u16string& arguments, std::string* said = nullptr);

  // Adds a database to the handheld's folder; the ids of its records begin with 1.
  struct NewRecord {
    uint8_t attributes;  // as stored
    const char* text;
  };
  void AddDatabase(const std::string& name, const std::vector<NewRecord>& records) const;
  // "id:attributes:text" of each record in the file.
  Lines FileRecords(const std::string& name) const;
  Lines LogLines(std::string_view start) const;  // of handheld.log
  std::string SessionLog() const;

  // "index:id:category:attributes:text", or "none", or the error.
  static std::string Read(const Late& adapter, const wchar_t* member);
  static std::string ReadAt(const Late& adapter, int32_t index);
  static std::string ReadById(const Late& adapter, int32_t id);
  static Late Open(const wchar_t* name, int32_t mode = 0xD0);

  const pylon::testing::TemporaryFolder folder_;
  TestConduit conduit_;
};

std::filesystem::path Simulator();

}  // namespace pylon::palm::testing

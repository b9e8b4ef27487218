#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Settings.h"
#include "SuiteError.h"

namespace pylon::palm {

// A log file, UTF-8, one line an entry, appended to and written at once. Raises SuiteError when it
// can't be written.
class TextLog {
 public:
  void Open(const std::filesystem::path& path);
  void Write(std::u16string_view line);

 private:
  std::ofstream file_;
};

std::u16string Hex(uint32_t number);

// Whether this is a function of the suite that goes over the link.
bool IsCountedFunction(std::u16string_view name);

// The cable: every call to the handheld passes here, is counted and logged, takes its time, and
// fails once the settings have cut the link.
class Link {
 public:
  // `lost` is told when the link breaks. Settings and log outlive the link.
  Link(const Settings& settings, TextLog& log, std::function<void()> lost)
      : settings_(settings), log_(log), lost_told_(std::move(lost)) {}

  bool IsLost() const { return lost_; }

  // Runs body(result), which does the call and appends what the log shall tell of it.
  template <class Body>
  auto Call(std::u16string_view function, std::u16string_view arguments, Body&& body) {
    std::u16string line(function);
    if (!arguments.empty()) line.append(u" ").append(arguments);
    line += u" -> ";
    std::u16string result;
    try {
      Pass(function);
      if constexpr (std::is_void_v<decltype(body(result))>) {
        body(result);
        log_.Write(line + u"ok" + result);
      } else {
        auto value = body(result);
        log_.Write(line + u"ok" + result);
        return value;
      }
    } catch (const SuiteError& error) {
      LogFailure(line, error);
      throw;
    }
  }

 private:
  void Pass(std::u16string_view function);
  void LogFailure(const std::u16string& line, const SuiteError& error);

  const Settings& settings_;
  TextLog& log_;
  const std::function<void()> lost_told_;
  uint64_t calls_ = 0;
  uint64_t calls_of_lost_at_ = 0;
  bool lost_ = false;
};

}  // namespace pylon::palm

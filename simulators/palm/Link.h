#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "../common/LinkFaults.h"
#include "../common/Log.h"
#include "Settings.h"
#include "SuiteError.h"

namespace pylon::palm {

// Raise SuiteError when the log can't be written.
class TextLog {
 public:
  void Open(const std::filesystem::path& path);
  void Write(std::u16string_view line);

 private:
  simulator::Log log_;
};

std::u16string Hex(uint32_t number);

// Whether this is a function of the suite that goes over the link.
bool IsCountedFunction(std::u16string_view name);

// The cable: every call to the handheld passes here, is counted and logged, takes its time, and
// fails once the settings have cut the link.
class Link {
 public:
  // `lost` is called when the link breaks. Settings and log outlive the link.
  Link(const Settings& settings, TextLog& log, std::function<void()> lost)
      : faults_(settings.link), log_(log), on_lost_(std::move(lost)) {}

  bool IsLost() const { return faults_.IsLost(); }

  // Runs body(result), which does the call and appends what goes into its line of the log.
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

  simulator::LinkFaults faults_;
  TextLog& log_;
  const std::function<void()> on_lost_;
};

}  // namespace pylon::palm

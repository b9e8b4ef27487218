#pragma once

#include <windows.h>

#include <string>

namespace palm {

// One call of a function of the three libraries: what the settings force it to answer, and its line
// in the log.
//
// Settings are in "manager.ini" beside the library, or in the file that the environment variable
// PYLON_SIMULATED_MANAGER names; README.md describes them. They are read anew by each call.

extern "C" IMAGE_DOS_HEADER __ImageBase;  // of the library itself

std::string QuotedText(const char* text);  // (null) for none
std::string QuotedText(const std::string& text);

// The result that the settings force; body's otherwise. Writes the log.
class Call {
 public:
  Call(const char* function, std::string arguments);

  bool forced() const noexcept { return forced_; }
  long Log(long result) const;  // the forced one when there is one

 private:
  std::string ini_;
  std::string line_;
  bool forced_ = false;
  long result_ = 0;
};

template <class Body>
long Answer(const char* function, const std::string& arguments, Body body) {
  const Call call(function, arguments);
  return call.Log(call.forced() ? 0 : body());
}

}  // namespace palm

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/Com.h"

namespace pylon::palm::testing {

// A conduit in this process, which has IPDClientNotify with both orders of its members. PROGIDs:
// "PalmTest.Conduit", this one; "PalmTest.Crash", whose process ends in BeginProcess; and
// "PalmTest.Stranger", a class without IPDClientNotify.
//
// Registers the classes for as long as it lives.
class TestConduit {
 public:
  TestConduit();
  ~TestConduit();
  TestConduit(const TestConduit&) = delete;
  TestConduit& operator=(const TestConduit&) = delete;

  // What BeginProcess does: its result, and whether it says that it failed.
  struct Answer {
    HRESULT result = S_OK;
    bool failed = false;
  };
  std::function<Answer()> begin;
  // Its other members note here what they were given.
  std::vector<std::string> calls;

 private:
  std::vector<DWORD> registrations_;
  std::optional<com::ReachableInterface> reachable_;
};

// Serves "PalmTest.Crash", whose class id this is ("{...}"), until it is called.
int ServeCrash(const std::string& class_id);

}  // namespace pylon::palm::testing

#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "Session.h"
#include "base/Com.h"

namespace pylon::palm {

// A class of the suite that programs create by name.
struct SuiteClass {
  CLSID id;
  const wchar_t* prog_id;
  // The class's object on the session.
  com::Ptr<IDispatch> (*create)(std::shared_ptr<Session> session);
};

std::span<const SuiteClass> SuiteClasses();

// The class objects of the process, for as long as this lives. Without a session every attempt to
// create an object fails with kNoSession.
class SuiteServer {
 public:
  // Raises SuiteError when COM refuses.
  explicit SuiteServer(std::shared_ptr<Session> session);
  ~SuiteServer();
  SuiteServer(const SuiteServer&) = delete;
  SuiteServer& operator=(const SuiteServer&) = delete;

 private:
  std::vector<DWORD> registrations_;
  std::vector<com::ReachableInterface> reachable_;
};

// How many objects were refused so far for want of a session.
size_t RefusedObjects();

}  // namespace pylon::palm

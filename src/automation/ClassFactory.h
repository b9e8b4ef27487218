#pragma once

#include <optional>
#include <span>
#include <vector>

#include "automation/Object.h"

namespace pylon {

// A class that clients create by name.
struct CreatableClass {
  const ClassInfo& info;
  com::Ptr<IUnknown> (*create)(Server& server);
};

std::span<const CreatableClass> CreatableClasses();

// The class objects of the process, registered with COM for as long as this lives.
class ClassObjects {
 public:
  enum class Reach {
    kOtherProcesses,  // a server process started by COM
    kThisProcess,     // a run: the component gets direct pointers, nobody else gets any
  };

  // Raises the error of COM when a class can't be registered.
  ClassObjects(Server& server, Reach reach);
  ~ClassObjects();
  ClassObjects(const ClassObjects&) = delete;
  ClassObjects& operator=(const ClassObjects&) = delete;

 private:
  void Revoke() noexcept;

  std::vector<DWORD> registrations_;
  std::optional<com::ReachableInterface> factories_;  // for other processes
};

}  // namespace pylon

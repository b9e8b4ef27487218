#pragma once

#include <functional>
#include <string>

#include "setup/SetupForm.h"
#include "setup/modShellandWait.h"

namespace pylon {

// Runs work that takes long, or that pumps messages, for a form: its windows answer meanwhile, but
// its commands are disabled, except Cancel. Cancel gets the focus when the control that had it is
// disabled. One such work at a time.
//
// The user may close the form during the work. Borrows the form.
class LongWork {
 public:
  struct With {
    SetupForm& form;
    int cancel;                      // the button that stays enabled
    std::function<void(bool)> show;  // disables what starts something else, and enables it again
    std::function<bool(MSG&)> translate;  // the program's message loop; see SetupForm
  };

  explicit LongWork(With with) : with_(std::move(with)) {}
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  // Does nothing while other work runs. False when the form is gone afterwards. What the work
  // raises is raised again, once the form is as it was or even if it is gone.
  bool Run(const std::function<void()>& work);
  bool is_running() const noexcept { return running_; }

  // By the user; no effect without work.
  void Cancel() noexcept;
  // How often, during the work or the last one.
  int cancels() const noexcept { return cancels_; }

  // For waits inside the work: dispatches messages. False when the work should end: the user has
  // cancelled it, or the form or the program is closing.
  bool Yield();
  // The same for waits that handle the user's Cancel themselves.
  bool YieldUnlessClosed();
  // Another program with the rights of an administrator, and waits for its end.
  WaitResult RunElevated(const std::u16string& file, const std::u16string& arguments);

 private:
  With with_;
  bool running_ = false;
  int cancels_ = 0;
};

}  // namespace pylon

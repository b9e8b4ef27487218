#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conduits/ConduitComponent.h"
#include "setup/SettingsText.h"
#include "setup/SetupForm.h"
#include "setup/modShellandWait.h"

namespace pylon {

// Asks for a new conduit: a registered class, or a component file which it registers; its name and
// a proposal for the application id come from the component itself.
//
// Borrows the factory, which creates components to ask them. The yield of its waits is the
// caller's.
class frmAddConduit final : public SetupForm {
 public:
  enum ControlId {
    kAdd = IDOK,
    kCancel = IDCANCEL,
    kHint = 100,
    kClassLabel,
    kClass,
    kFile,
    kCheck,
    kFound,
    kAppIdLabel,
    kAppId,
    kFolderLabel,
    kFolder,
    kBrowse,
  };

  struct Result {
    std::u16string app_id;
    SettingsEntries entries;
  };
  // With the window still open. Empty: done with, the window closes; else why it was not added.
  std::function<std::u16string(const Result&)> on_add;

  frmAddConduit(ComponentFactory& components, std::vector<std::u16string> taken, WaitYield yield)
      : components_(components), taken_(std::move(taken)), yield_(std::move(yield)) {}
  ~frmAddConduit() override { Destroy(); }

  void Show(HWND owner);
  // Registers a component file and takes over its class, as after the file dialog.
  void TakeFile(const std::u16string& file);

 private:
  void AddControls() override;
  Layout Arrangement() const override;
  void OnCommand(int id, int code) override;

  void ChooseFile();
  void ChooseFolder();
  void ListClasses();
  // Asks the component of the class for its name; why it can't be asked, empty when it can.
  std::u16string AskComponent(bool propose);
  void OnAdd();
  void SetBusy(bool busy);

  ComponentFactory& components_;
  std::vector<std::u16string> taken_;
  WaitYield yield_;
  std::u16string proposal_;         // what the window itself put into the application id
  HWND focus_before_ = nullptr;     // it became busy
  std::optional<WaitCursor> wait_;  // while it is busy
  bool listed_ = false;
  bool busy_ = false;
  bool stop_ = false;  // Cancel was pressed while it is or was busy
};

}  // namespace pylon

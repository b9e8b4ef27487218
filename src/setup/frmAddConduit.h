#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conduits/ConduitComponent.h"
#include "setup/LongWork.h"
#include "setup/SettingsText.h"
#include "setup/SetupForm.h"

namespace pylon {

// Asks for a new conduit: a registered class, or a component file which it registers; its name and
// a proposal for the application id come from the component itself.
//
// Borrows the factory, which creates components to ask them.
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
  // Called with the window still open, which closes when the answer is empty; else it is the reason
  // why the conduit was not added.
  std::function<std::u16string(const Result&)> on_add;

  // `taken` are the application ids that there are; `translate` is the program's message loop.
  frmAddConduit(ComponentFactory& components, std::vector<std::u16string> taken,
                std::function<bool(MSG&)> translate);
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
  // Asks the component of the class for its name; the reason when it can't be asked, else empty.
  std::u16string AskComponent(bool propose);
  void OnAdd();
  void ShowBusy(bool busy);

  ComponentFactory& components_;
  std::vector<std::u16string> taken_;
  LongWork work_;
  std::optional<WaitCursor> wait_;  // while there is work
  std::u16string proposal_;         // the application id that the window proposed
  bool listed_ = false;
};

}  // namespace pylon

#pragma once

#include <string>

#include "setup/SetupForm.h"
#include "setup/VersionRecord.h"
#include "setup/cIconExtract.h"

namespace pylon {

// The About window of a program, from what its file says of itself.
class frmAbout final : public SetupForm {
 public:
  enum ControlId { kOk = IDCANCEL, kIcon = 100, kTitle, kVersion, kDescription, kLegal, kSysInfo };

  explicit frmAbout(std::u16string program_path);
  ~frmAbout() override { Destroy(); }

  void Show(HWND owner);  // keeps the user from the owner; with null from nothing

  // Starts the system's own tool, or says that there is none.
  void StartSysInfo();
  // One value of the registry as text: texts up to their NUL, a number as "&h" and its digits.
  // Empty when it is missing or of another type.
  static std::u16string GetKeyValue(HKEY root, const std::u16string& key_name,
                                    const std::u16string& value_name);
  // The tool's program; empty when this PC has none.
  static std::u16string SysInfoPath();

 private:
  void AddControls() override;
  Layout Arrangement() const override;
  void OnCommand(int id, int code) override;
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  VersionRecord record_;
  cIconExtract icon_;
};

}  // namespace pylon

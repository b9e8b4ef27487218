#include "setup/frmAddConduit.h"

#include <shobjidl.h>

#include <algorithm>

#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Text.h"
#include "conduits/SettingsKeys.h"
#include "files/IniText.h"
#include "setup/ComponentRegistration.h"
#include "setup/SetupModel.h"
#include "setup/Strings.h"
#include "setup/Texts.h"
#include "setup/WindowsSetupServices.h"

namespace pylon {
namespace {

// Units.
constexpr SIZE kSize = {520, 306};
constexpr int kMargin = 14;
constexpr int kGap = 8;
constexpr int kListHeight = 240;

std::u16string SystemFolder() {
  wchar_t folder[MAX_PATH] = L"";
  ::GetSystemDirectoryW(folder, MAX_PATH);
  return FromWide(folder);
}

enum class Pick { kFile, kFolder };

// The shell's dialog; nothing when the user cancels it or the system has none.
std::optional<std::u16string> PickPath(HWND owner, Pick what) {
  com::Ptr<IFileOpenDialog> dialog;
  if (FAILED(::CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                __uuidof(IFileOpenDialog),
                                reinterpret_cast<void**>(dialog.Receive())))) {
    return std::nullopt;
  }
  DWORD options = 0;
  dialog->GetOptions(&options);
  options |= FOS_FORCEFILESYSTEM | FOS_NOCHANGEDIR;
  const std::u16string filter = LoadText(IDS_ADD_FILTER);
  if (what == Pick::kFolder) {
    options |= FOS_PICKFOLDERS;
  } else {
    options |= FOS_FILEMUSTEXIST;
    const COMDLG_FILTERSPEC types[] = {{Wide(filter), L"*.dll;*.exe;*.ocx"}};
    dialog->SetFileTypes(1, types);
  }
  dialog->SetOptions(options);
  com::Ptr<IShellItem> item;
  if (FAILED(dialog->Show(owner)) || FAILED(dialog->GetResult(item.Receive()))) {
    return std::nullopt;
  }
  wchar_t* path = nullptr;
  if (FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, &path))) return std::nullopt;
  std::u16string text = FromWide(path);
  ::CoTaskMemFree(path);
  return text;
}

}  // namespace

frmAddConduit::frmAddConduit(ComponentFactory& components, std::vector<std::u16string> taken,
                             std::function<bool(MSG&)> translate)
    : components_(components),
      taken_(std::move(taken)),
      work_({*this, kCancel, [this](bool busy) { ShowBusy(busy); }, std::move(translate)}) {}

void frmAddConduit::Show(HWND owner) {
  Open({L"Pylon.frmAddConduit", kSize, {}, 0, kAdd}, LoadText(IDS_ADD_CAPTION), owner);
  ShowOnTop();
}

void frmAddConduit::AddControls() {
  Add(L"STATIC", IDS_ADD_HINT, SS_LEFT, kHint);
  AddLabel(kClassLabel, IDS_ADD_CLASS);
  Add(L"COMBOBOX", 0, CBS_DROPDOWN | CBS_AUTOHSCROLL | WS_VSCROLL | WS_TABSTOP, kClass);
  AddButton(kCheck, IDS_ADD_ASK);
  AddButton(kFile, IDS_ADD_FILE);
  AddLabel(kFound);
  AddLabel(kAppIdLabel, IDS_ADD_APPID);
  Add(L"EDIT", 0, ES_AUTOHSCROLL | WS_TABSTOP, kAppId, WS_EX_CLIENTEDGE);
  AddLabel(kFolderLabel, IDS_ADD_FOLDER);
  Add(L"EDIT", 0, ES_AUTOHSCROLL | WS_TABSTOP, kFolder, WS_EX_CLIENTEDGE);
  AddButton(kBrowse, IDS_ADD_BROWSE);
  AddButton(kAdd, IDS_ADD_BUTTON, true);
  AddButton(kCancel, IDS_CANCEL);
  if (LacksElevation()) ::SendMessageW(Control(kFile), BCM_SETSHIELD, 0, TRUE);
}

Layout frmAddConduit::Arrangement() const {
  using L = Layout;
  const int gap = Scaled(kGap);
  const int button = ButtonWidth({kFile, kCheck, kBrowse, kAdd, kCancel}) + Scaled(16);
  const int field = FieldHeight();
  const L app_id = L::Control(kAppId, L::kRest, field);
  return L::Column(
             gap,
             {L::Control(kHint, L::kRest, 2 * Line()),
              L::Column(gap / 2, {Label(kClassLabel), L::Row(gap, {L::Combo(kClass, L::kRest, field,
                                                                            Scaled(kListHeight)),
                                                                   Button(kCheck, button)})}),
              L::Row(gap, {Label(kFound), Button(kFile, button)}),
              L::Column(gap / 2, {Label(kAppIdLabel), L::Row(0, {app_id, L::Space(gap + button)})}),
              L::Column(gap / 2,
                        {Label(kFolderLabel), L::Row(gap, {L::Control(kFolder, L::kRest, field),
                                                           Button(kBrowse, button)})}),
              L::Space(L::kRest),
              L::Row(gap, {L::Space(L::kRest), Button(kAdd, button), Button(kCancel, button)})})
      .Within(Scaled(kMargin));
}

void frmAddConduit::OnCommand(int id, int code) {
  if (work_.is_running()) {
    if (id == kCancel) work_.Cancel();
    return;
  }
  switch (id) {
    case kAdd:
      OnAdd();
      break;
    case kCancel:
      Close();
      break;
    case kFile:
      ChooseFile();
      break;
    case kBrowse:
      ChooseFolder();
      break;
    case kCheck: {
      const std::u16string why = AskComponent(true);
      if (!why.empty()) SetText(kFound, LoadText(IDS_ADD_NOT_FOUND, why));
      break;
    }
    case kClass:
      if (code == CBN_DROPDOWN) ListClasses();
      if (code == CBN_EDITCHANGE || code == CBN_SELCHANGE) SetText(kFound, {});
      break;
    default:
      break;
  }
}

void frmAddConduit::ChooseFile() {
  const auto file = PickPath(handle(), Pick::kFile);
  if (file && handle()) TakeFile(*file);
}

void frmAddConduit::TakeFile(const std::u16string& file) {
  const auto command = CommandToRegister(file, SystemFolder());
  if (!command) {
    ShowError(LoadText(IDS_ADD_NO_FILE, file));
    return;
  }
  SetText(kFound, LoadText(IDS_REGISTERING, file.substr(file.rfind(u'\\') + 1)));
  WaitResult result;
  const bool open = work_.Run([&] {
    const std::u16string line = u"\"" + command->program + u"\" " + command->arguments;
    result = LacksElevation()
                 ? work_.RunElevated(command->program, command->arguments)
                 : ProgramAndWait(command->program, line, [this] { return work_.Yield(); });
  });
  if (!open) return;
  SetText(kFound, {});
  if (result.end == WaitEnd::kNotStarted) {
    if (result.code != ERROR_CANCELLED) {
      ShowError(LoadText(IDS_ADD_NOT_REGISTERED, SystemReason(result.code)));
    }
    return;
  }
  if (result.end == WaitEnd::kStopped) {
    SetText(kFound, LoadText(IDS_WORK_LEFT));
    return;
  }
  if (result.end == WaitEnd::kEnded && result.code != 0) {
    ShowError(LoadText(IDS_ADD_NOT_REGISTERED,
                       LoadText(IDS_ADD_EXIT_CODE, ToText(static_cast<int32_t>(result.code)))));
    return;
  }
  const std::vector<std::u16string> names = ClassNamesOf(file);
  if (names.empty()) {
    SetText(kFound, LoadText(IDS_ADD_NO_CLASSES));
    return;
  }
  const HWND combo = Control(kClass);
  ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const std::u16string& name : names) {
    ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Wide(name)));
  }
  listed_ = true;
  // The first that is a conduit. They may pump messages.
  size_t first = 0;
  const bool still_open = names.size() == 1 || work_.Run([&] {
    const auto conduit = std::ranges::find_if(names, [this](const std::u16string& name) {
      return components_.Create(name).component != nullptr;
    });
    if (conduit != names.end()) first = static_cast<size_t>(conduit - names.begin());
  });
  if (!still_open) return;
  ::SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(first), 0);
  const std::u16string why = AskComponent(true);
  if (!why.empty()) SetText(kFound, LoadText(IDS_ADD_NOT_FOUND, why));
}

void frmAddConduit::ChooseFolder() {
  const auto folder = PickPath(handle(), Pick::kFolder);
  if (folder && handle()) SetText(kFolder, *folder);
}

void frmAddConduit::ListClasses() {
  if (listed_) return;
  listed_ = true;
  const HWND combo = Control(kClass);
  const std::u16string typed = TextOf(kClass);
  const WaitCursor wait;
  ::SendMessageW(combo, WM_SETREDRAW, FALSE, 0);
  for (const std::u16string& name : AllClassNames()) {
    ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Wide(name)));
  }
  ::SendMessageW(combo, WM_SETREDRAW, TRUE, 0);
  SetText(kClass, typed);
}

std::u16string frmAddConduit::AskComponent(bool propose) {
  const std::u16string class_id(Trim(TextOf(kClass)));
  if (class_id.empty()) return LoadText(IDS_ADD_NO_CLASS);
  std::u16string name;
  std::u16string version;
  std::u16string author;
  std::u16string why;
  const bool open = work_.Run([&] {
    try {
      const ComponentFactory::Result created = components_.Create(class_id);
      if (created.failure == ComponentFactory::Failure::kNoInterface) {
        why = LoadText(IDS_ADD_NO_CONDUIT);
      } else if (!created.component) {
        why = created.reason;
      } else {
        name = created.component->GetConduitInfo(ctApplicationName);
        version = created.component->GetConduitInfo(ctVersion);
        author = created.component->GetConduitInfo(ctAuthor);
      }
    } catch (const AutomationError& error) {
      why = error.description();
    }
  });
  if (!open) return {};
  if (!why.empty()) return why;
  std::u16string found = name + u" " + version;
  if (!author.empty()) found += LoadText(IDS_CONDUIT_BY, author);
  SetText(kFound, LoadText(IDS_ADD_FOUND, OneLine(found)));
  const std::u16string typed = TextOf(kAppId);
  if (propose && (typed.empty() || typed == proposal_)) {
    proposal_ = ProposeAppId(name, class_id, taken_);
    SetText(kAppId, proposal_);
  }
  return {};
}

void frmAddConduit::OnAdd() {
  const std::u16string class_id(Trim(TextOf(kClass)));
  std::u16string why;
  bool asked = false;
  if (!class_id.empty() && Trim(TextOf(kAppId)).empty()) {
    why = AskComponent(true);
    asked = true;
  }
  if (!handle() || (asked && work_.cancels() > 0)) return;
  Result result = {std::u16string(Trim(TextOf(kAppId))),
                   {{std::u16string(settings::kClassId.name), class_id}}};
  if (const Phrase objection = Objection({class_id, result.app_id}, taken_)) {
    ShowError(asked && !why.empty() ? LoadText(IDS_ADD_NOT_FOUND, why) : LoadText(objection));
    ::SetFocus(Control(class_id.empty() ? kClass : kAppId));
    return;
  }
  const std::u16string folder(Trim(TextOf(kFolder)));
  if (!IsIniValue(folder)) {
    ShowError(LoadText(IDS_ADD_BAD_FOLDER));
    return;
  }
  if (!folder.empty()) result.entries.emplace_back(settings::kPcPath.name, folder);
  if (!asked) why = AskComponent(false);
  if (!handle() || work_.cancels() > 0) return;
  if (!why.empty() &&
      Ask(LoadText(IDS_ADD_ANYWAY, why), MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2) != IDYES) {
    return;
  }
  std::u16string refusal;
  try {
    if (on_add) refusal = on_add(result);
  } catch (const AutomationError& error) {
    refusal = error.description();
  }
  if (!refusal.empty()) {
    ShowError(refusal);
    return;
  }
  Close();
}

void frmAddConduit::ShowBusy(bool busy) {
  for (const int id : {kClass, kFile, kCheck, kAppId, kFolder, kBrowse, kAdd}) Enable(id, !busy);
  if (busy) {
    wait_.emplace();
  } else {
    wait_.reset();
  }
}

}  // namespace pylon

#include "hotsync/SuiteHandheld.h"

#include <algorithm>
#include <utility>

#include "base/Registry.h"
#include "base/SystemMessage.h"
#include "hotsync/SuiteDatabase.h"
#include "hotsync/SuiteLibrary.h"

namespace pylon {
namespace {

#ifdef _WIN64
// Whether a class by this name has a server in the view of the registry that 32-bit programs see.
bool ServesOnly32Bit(const std::u16string& prog_id) {
  const auto read = [](const std::u16string& path) {
    return ReadRegistryText(HKEY_CLASSES_ROOT, path, nullptr, KEY_WOW64_32KEY);
  };
  const std::u16string class_id = read(prog_id + u"\\CLSID");
  return !class_id.empty() && !read(u"CLSID\\" + class_id + u"\\InprocServer32").empty();
}
#endif

com::Ptr<IDispatch> Create(const wchar_t* prog_id) {
  CLSID id = CLSID_NULL;
  com::Ptr<IDispatch> object;
  HRESULT result = ::CLSIDFromProgID(prog_id, &id);
  if (SUCCEEDED(result)) {
    result = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                IID_IDispatch, reinterpret_cast<void**>(object.Receive()));
  }
  if (SUCCEEDED(result)) return object;
  const std::u16string name = FromWide(prog_id);
#ifdef _WIN64
  if (ServesOnly32Bit(name)) {
    throw AutomationError(ErrorNumber::kCannotCreateObject,
                          u"HotSync on this PC works with 32-bit programs only. Register the "
                          u"32-bit Pylon instead of this one.");
  }
#endif
  throw AutomationError(
      ErrorNumber::kCannotCreateObject,
      u"HotSync's COM sync suite can't be reached: " + name + u": " + SystemMessage(result));
}

std::u16string ToText(const com::Variant& value) {
  return com::Text(V_BSTR(Converted(value, VT_BSTR).get()));
}

Date ToDate(const com::Variant& value) { return V_DATE(Converted(value, VT_DATE).get()); }

// A number; nothing when the value is empty.
std::optional<int32_t> ToLong(const com::Variant& value) {
  const VARTYPE type = V_VT(value.get());
  if (type == VT_EMPTY || type == VT_NULL) return std::nullopt;
  if (type == VT_UI4 || type == VT_UINT) return static_cast<int32_t>(V_UI4(value.get()));
  return V_I4(Converted(value, VT_I4).get());
}

// The texts of an array of BSTRs or of values; an array without a size has none.
std::vector<std::u16string> ToTexts(const com::Variant& given) {
  const VARIANT* value = given.get();
  while (V_VT(value) == (VT_BYREF | VT_VARIANT)) value = V_VARIANTREF(value);
  const VARTYPE type = V_VT(value) & ~VT_BYREF;
  if (type == VT_EMPTY || type == VT_NULL) return {};
  if (type != (VT_ARRAY | VT_BSTR) && type != (VT_ARRAY | VT_VARIANT)) {
    throw AutomationError(ErrorNumber::kInternal, u"HotSync's COM suite gave no list of names.");
  }
  SAFEARRAY* const array = V_ISBYREF(value) ? *V_ARRAYREF(value) : V_ARRAY(value);
  std::vector<std::u16string> texts;
  if (!array) return texts;
  if (::SafeArrayGetDim(array) != 1) {
    throw AutomationError(ErrorNumber::kInternal, u"HotSync's COM suite gave no list of names.");
  }
  LONG lower = 0;
  LONG upper = -1;
  com::Check(::SafeArrayGetLBound(array, 1, &lower));
  com::Check(::SafeArrayGetUBound(array, 1, &upper));
  for (LONG i = lower; i <= upper; ++i) {
    if (type == (VT_ARRAY | VT_BSTR)) {
      com::Bstr text;
      com::Check(::SafeArrayGetElement(array, &i, text.Receive()));
      texts.push_back(com::Text(text.get()));
    } else {
      com::Variant text;
      com::Check(::SafeArrayGetElement(array, &i, text.get()));
      texts.push_back(ToText(text));
    }
  }
  return texts;
}

int32_t AccessMode() {
  int32_t mode = 0;
  for (const int32_t bit : ValuesOf(suite::kAccessModes, RegisteredSuiteLibrary().get())) {
    mode |= bit;
  }
  return mode;
}

// Makes a call for which the suite may have no member.
template <class Body>
void Optionally(Body&& body) {
  try {
    body();
  } catch (const LateBoundError& error) {
    const HRESULT result = error.result();
    if (result != DISP_E_UNKNOWNNAME && result != DISP_E_MEMBERNOTFOUND && result != E_NOTIMPL) {
      throw;
    }
  }
}

}  // namespace

std::shared_ptr<SuiteHandheld> SuiteHandheld::Connect(const AnsiCodePage& code_page) {
  return std::make_shared<SuiteHandheld>(Create(suite::kDatabaseQuery),
                                         Create(suite::kSystemAdapter), code_page);
}

SuiteHandheld::SuiteHandheld(com::Ptr<IDispatch> query, com::Ptr<IDispatch> system,
                             const AnsiCodePage& code_page)
    : utils_(code_page),
      link_(std::make_shared<SuiteLink>()),
      query_(std::move(query)),
      system_(std::move(system)),
      access_(AccessMode()) {}

std::u16string SuiteHandheld::UserName() {
  return link_->Reach([&] {
    LateBound<suite::UserInfo> user(system_.Call(suite::SystemAdapter::kUserInfo));
    return ToText(user.Call(suite::UserInfo::kUserName));
  });
}

Date SuiteHandheld::DateTime() {
  return link_->Reach([&] { return ToDate(system_.Call(suite::SystemAdapter::kDateTime)); });
}

void SuiteHandheld::AddLogEntry(std::u16string_view text) {
  const com::Bstr line(text);
  link_->Reach([&] { system_.Call(suite::SystemAdapter::kAddLogEntry, line); });
}

SuiteHandheld::Conduit SuiteHandheld::RunningConduit() {
  return link_->Reach([&] {
    Conduit conduit;
    Optionally([&] {
      LateBound<suite::HotSyncInfo> info(system_.Call(suite::SystemAdapter::kHotSyncInfo));
      Optionally([&] { conduit.creator = ToLong(info.Call(suite::HotSyncInfo::kCreatorId)); });
      Optionally([&] { conduit.path = ToText(info.Call(suite::HotSyncInfo::kPathName)); });
    });
    return conduit;
  });
}

std::vector<std::u16string> SuiteHandheld::DatabaseNames() {
  return link_->Reach([&] {
    return ToTexts(query_.Call(suite::DatabaseQuery::kReadDbNameList, Argument::Bool(true)));
  });
}

bool SuiteHandheld::IsListed(std::u16string_view name) {
  const std::vector<std::u16string> names = DatabaseNames();
  return std::ranges::find(names, name) != names.end();
}

std::optional<HandheldDatabaseInfo> SuiteHandheld::DatabaseInfo(std::u16string_view name) {
  using Info = suite::DatabaseInfo;
  const com::Bstr text(name);
  bool found = false;
  HandheldDatabaseInfo info;
  const auto read = [&] {
    LateBound<Info> object(query_.Call(suite::DatabaseQuery::kReadDbInfoByName, text));
    found = true;
    const auto id = [&](Info::Member member, std::u16string& target) {
      Optionally([&] {
        if (const auto number = ToLong(object.Call(member))) target = utils_.PalmLongtoId(*number);
      });
    };
    const auto date = [&](Info::Member member, Date& target) {
      Optionally([&] { target = ToDate(object.Call(member)); });
    };
    id(Info::kCreatorId, info.creator);
    id(Info::kTypeId, info.type);
    date(Info::kCreateDate, info.created);
    date(Info::kModifyDate, info.modified);
  };
  try {
    link_->Reach([&] { Optionally(read); });
  } catch (const AutomationError&) {
    // Perhaps the suite's own way to say that there is none.
    if (found || IsLost() || IsListed(name)) throw;
    return std::nullopt;
  }
  if (!found && !IsListed(name)) return std::nullopt;
  return info;
}

std::unique_ptr<HandheldDatabase> SuiteHandheld::OpenDatabase(std::u16string_view name) {
  const com::Bstr text(name);
  const com::Bstr adapter(suite::kRecordAdapter);
  try {
    return link_->ReachIfThere(
        std::unique_ptr<HandheldDatabase>(), [&]() -> std::unique_ptr<HandheldDatabase> {
          return std::make_unique<SuiteDatabase>(
              query_.Call(suite::DatabaseQuery::kOpenRecordDatabase, text, adapter, access_),
              link_);
        });
  } catch (const AutomationError& error) {
    // Which failure of the suite means that there is none is not known for sure; the list shows it.
    if (!error.Is(ErrorNumber::kInternal) || IsListed(name)) throw;
    return nullptr;
  }
}

std::unique_ptr<HandheldDatabase> SuiteHandheld::CreateDatabase(std::u16string_view name,
                                                                std::u16string_view creator,
                                                                std::u16string_view type) {
  if (creator.size() != 4 || type.size() != 4) throw InvalidArgument();
  const com::Bstr text(name);
  const com::Bstr adapter(suite::kRecordAdapter);
  try {
    return link_->Reach([&] {
      return std::make_unique<SuiteDatabase>(
          query_.Call(suite::DatabaseQuery::kCreateRecordDatabase, text, adapter,
                      utils_.PalmIDtoLong(creator), utils_.PalmIDtoLong(type)),
          link_);
    });
  } catch (const AutomationError& error) {
    if (!error.Is(ErrorNumber::kInternal) || !IsListed(name)) throw;
    throw AutomationError(ErrorNumber::kFileExists, error.source(), error.description());
  }
}

bool SuiteHandheld::DeleteDatabase(std::u16string_view name) {
  const com::Bstr text(name);
  try {
    return link_->ReachIfThere(false, [&] {
      query_.Call(suite::DatabaseQuery::kRemoveDatabase, text);
      return true;
    });
  } catch (const AutomationError& error) {
    if (!error.Is(ErrorNumber::kInternal) || IsListed(name)) throw;
    return false;
  }
}

}  // namespace pylon

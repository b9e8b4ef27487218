// Reads the type library in Pylon.exe as a client's compiler would.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "automation/Library.h"
#include "automation/TypeLibrary.h"
#include "base/Text.h"
#include "base/TypeDescription.h"
#include "base/Types.h"
#include "tests/automation/Processes.h"

namespace pylon {
namespace {

static_assert(int{::dftActiveSync} == int{dftActiveSync} && int{::dftPalmVFS} == int{dftPalmVFS} &&
              int{::dftWindows} == int{dftWindows});
static_assert(int{::eArchive} == int{eArchive} && int{::eSecret} == int{eSecret} &&
              int{::eDirty} == int{eDirty} && int{::eDelete} == int{eDelete});
static_assert(int{::dtHotSync} == int{dtHotSync} && int{::dtPC} == int{dtPC});
static_assert(int{::ctVersion} == int{ctVersion} && int{::ctIcon} == int{ctIcon});

std::string NameOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
  com::Bstr name;
  com::Bstr help;
  com::Check(info->GetDocumentation(member, name.Receive(), help.Receive(), nullptr, nullptr));
  const std::string text = ToUtf8(com::Text(help.get()));
  return ToUtf8(com::Text(name.get())) + (text.empty() ? "" : " \"" + text + "\"");
}

com::Ptr<ITypeInfo> Referenced(ITypeInfo* info, HREFTYPE reference) {
  com::Ptr<ITypeInfo> referenced;
  com::Check(info->GetRefTypeInfo(reference, referenced.Receive()));
  return referenced;
}

// A type as C++ has it. Scripts know no others than these.
std::string TypeName(ITypeInfo* info, const TYPEDESC& type) {
  static const std::map<VARTYPE, std::string> kNames = {
      {VT_UI1, "BYTE"},  {VT_I2, "short"},       {VT_I4, "long"},   {VT_R4, "float"},
      {VT_R8, "double"}, {VT_CY, "CURRENCY"},    {VT_DATE, "DATE"}, {VT_BSTR, "BSTR"},
      {VT_BOOL, "BOOL"}, {VT_VARIANT, "VARIANT"}};
  if (type.vt == VT_PTR) return TypeName(info, *type.lptdesc) + "*";
  if (type.vt != VT_USERDEFINED) {
    EXPECT_TRUE(kNames.contains(type.vt)) << type.vt;
    return kNames.contains(type.vt) ? kNames.at(type.vt) : "?";
  }
  com::Bstr name;
  const auto named = Referenced(info, type.hreftype);
  com::Check(named->GetDocumentation(MEMBERID_NIL, name.Receive(), nullptr, nullptr, nullptr));
  com::TypeAttributes attributes(named.get());
  com::Check(named->GetTypeAttr(attributes.Receive()));
  EXPECT_TRUE(attributes->typekind == TKIND_ENUM || attributes->typekind == TKIND_DISPATCH);
  return ToUtf8(com::Text(name.get()));
}

std::string Parameter(ITypeInfo* info, const ELEMDESC& element) {
  const USHORT flags = element.paramdesc.wParamFlags;
  std::string text;
  if (flags & PARAMFLAG_FIN) text += "in ";
  if (flags & PARAMFLAG_FOUT) text += "out ";
  if (flags & PARAMFLAG_FRETVAL) text += "retval ";
  if (flags & PARAMFLAG_FOPT) text += "optional ";
  text += TypeName(info, element.tdesc);
  if (!(flags & PARAMFLAG_FHASDEFAULT)) return text;
  com::Variant value;
  com::Check(::VariantChangeTypeEx(value.get(), &element.paramdesc.pparamdescex->varDefaultValue,
                                   LOCALE_INVARIANT, 0, VT_BSTR));
  return text + " = '" + ToUtf8(com::Text(V_BSTR(value.get()))) + "'";
}

// The members of an interface by their slots.
void DumpMembers(std::ostream& out, ITypeInfo* dispatch) {
  HREFTYPE reference = 0;
  com::Check(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
  const auto info = Referenced(dispatch, reference);
  com::TypeAttributes attributes(info.get());
  com::Check(info->GetTypeAttr(attributes.Receive()));
  std::map<size_t, std::string> by_slot;
  std::set<std::pair<DISPID, INVOKEKIND>> ids;
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    com::FunctionDescription function(info.get());
    com::Check(info->GetFuncDesc(i, function.Receive()));
    static const std::map<INVOKEKIND, const char*> kKinds = {{INVOKE_FUNC, "call"},
                                                             {INVOKE_PROPERTYGET, "get"},
                                                             {INVOKE_PROPERTYPUT, "put"},
                                                             {INVOKE_PROPERTYPUTREF, "putref"}};
    std::string parameters;
    for (SHORT p = 0; p < function->cParams; ++p) {
      parameters += (p ? ", " : "") + Parameter(info.get(), function->lprgelemdescParam[p]);
    }
    const std::string name = NameOf(info.get(), function->memid);
    EXPECT_TRUE(ids.insert({function->memid, function->invkind}).second) << name;
    by_slot[static_cast<size_t>(function->oVft) / sizeof(void*)] =
        std::string(kKinds.at(function->invkind)) + " " + std::to_string(function->memid) + " " +
        name + " (" + parameters + ")";
  }
  EXPECT_EQ(by_slot.size(), attributes->cFuncs) << "two members share a slot";
  for (const auto& [slot, member] : by_slot) out << "  " << slot << " " << member << "\n";
}

void DumpConstants(std::ostream& out, ITypeInfo* info, UINT count) {
  for (UINT i = 0; i < count; ++i) {
    com::VariableDescription constant(info);
    com::Check(info->GetVarDesc(i, constant.Receive()));
    out << "  " << NameOf(info, constant->memid) << " = " << V_I4(constant->lpvarValue) << "\n";
  }
}

void DumpInterfaces(std::ostream& out, ITypeInfo* info, UINT count) {
  for (UINT i = 0; i < count; ++i) {
    HREFTYPE reference = 0;
    INT flags = 0;
    com::Check(info->GetRefTypeOfImplType(i, &reference));
    com::Check(info->GetImplTypeFlags(i, &flags));
    out << "  " << (flags & IMPLTYPEFLAG_FDEFAULT ? "default " : "")
        << (flags & IMPLTYPEFLAG_FSOURCE ? "source " : "")
        << NameOf(Referenced(info, reference).get()) << "\n";
  }
}

std::string Dump(ITypeLib* library) {
  std::ostringstream out;
  com::Bstr library_name;
  com::Check(library->GetDocumentation(-1, library_name.Receive(), nullptr, nullptr, nullptr));
  out << "library " << ToUtf8(com::Text(library_name.get())) << "\n";
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    com::Ptr<ITypeInfo> info;
    com::Check(library->GetTypeInfo(i, info.Receive()));
    com::TypeAttributes attributes(info.get());
    com::Check(info->GetTypeAttr(attributes.Receive()));
    wchar_t id[40] = L"";
    ::StringFromGUID2(attributes->guid, id, static_cast<int>(std::size(id)));
    const std::string name = NameOf(info.get()) + " " + ToUtf8(FromWide(id)) + "\n";
    switch (attributes->typekind) {
      case TKIND_ENUM:
        out << "enum " << name;
        DumpConstants(out, info.get(), attributes->cVars);
        break;
      case TKIND_DISPATCH:
        out << "interface " << name;
        DumpMembers(out, info.get());
        break;
      case TKIND_COCLASS:
        out << (attributes->wTypeFlags & TYPEFLAG_FCANCREATE ? "creatable " : "") << "class "
            << name;
        DumpInterfaces(out, info.get(), attributes->cImplTypes);
        break;
      default:
        ADD_FAILURE() << name << " is of kind " << attributes->typekind;
    }
  }
  return out.str();
}

// Names, ids, slots, types, help texts (with their spelling) and classes that clients may create
// are a contract with components that were built long ago: TypeLibrary.txt keeps them. Where a
// change is meant, the dump that the failed test leaves is the new text.
TEST(TypeLibraryTest, IsAsItsKeptText) {
  const TypeLibrary library(u"Pylon.exe");
  const std::string dump = Dump(library.get());
  std::string kept = testing::ReadFile("gen\\TypeLibrary.txt");
  std::erase(kept, '\r');
  EXPECT_EQ(dump, kept);
  if (HasFailure()) std::ofstream("gen\\TypeLibrary.now.txt", std::ios::binary) << dump;
}

}  // namespace
}  // namespace pylon

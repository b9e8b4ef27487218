#include "hotsync/SuiteLibrary.h"

#include <optional>

#include "base/TypeDescription.h"

namespace pylon {
namespace {

// The values of the constants in one enum; nothing when it lacks one whose name is known.
std::optional<std::vector<int32_t>> Find(std::span<const suite::Constant> constants,
                                         ITypeInfo* info) {
  std::vector<std::optional<int32_t>> found(constants.size());
  com::TypeAttributes attributes(info);
  com::Check(info->GetTypeAttr(attributes.Receive()));
  for (UINT i = 0; i < attributes->cVars; ++i) {
    com::VariableDescription variable(info);
    com::Check(info->GetVarDesc(i, variable.Receive()));
    if (variable->varkind != VAR_CONST) continue;
    com::Bstr name;
    com::Check(info->GetDocumentation(variable->memid, name.Receive(), nullptr, nullptr, nullptr));
    for (size_t k = 0; k < constants.size(); ++k) {
      if (com::Text(name.get()) != FromWide(constants[k].name)) continue;
      com::Variant value;
      com::Check(::VariantChangeType(value.get(), variable->lpvarValue, 0, VT_I4));
      found[k] = V_I4(value.get());
    }
  }
  std::vector<int32_t> values;
  for (size_t k = 0; k < constants.size(); ++k) {
    if (!found[k] && !constants[k].assumed) return std::nullopt;
    values.push_back(found[k].value_or(constants[k].value));
  }
  return values;
}

}  // namespace

com::Ptr<ITypeLib> RegisteredSuiteLibrary() {
  com::Ptr<ITypeLib> library;
  if (FAILED(::LoadRegTypeLib(suite::kLibraryId, suite::kLibraryMajor, suite::kLibraryMinor, 0,
                              library.Receive()))) {
    return nullptr;
  }
  return library;
}

std::vector<int32_t> ValuesOf(std::span<const suite::Constant> constants, ITypeLib* library) {
  const UINT count = library ? library->GetTypeInfoCount() : 0;
  for (UINT i = 0; i < count; ++i) {
    TYPEKIND kind = TKIND_MAX;
    com::Check(library->GetTypeInfoType(i, &kind));
    if (kind != TKIND_ENUM) continue;
    com::Ptr<ITypeInfo> info;
    com::Check(library->GetTypeInfo(i, info.Receive()));
    if (auto values = Find(constants, info.get())) return *std::move(values);
  }
  std::vector<int32_t> values;
  for (const suite::Constant& constant : constants) values.push_back(constant.value);
  return values;
}

}  // namespace pylon

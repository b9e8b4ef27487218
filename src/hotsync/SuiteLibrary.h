#pragma once

#include <span>
#include <vector>

#include "base/Com.h"
#include "hotsync/SuiteContract.h"

namespace pylon {

// The suite's type library; null when it is not registered for programs of this kind.
com::Ptr<ITypeLib> RegisteredSuiteLibrary();

// The values of the constants: those of the library's first enum that has all names of theirs that
// are not assumed, or of the table when there is none or `library` is null. Raises what reading the
// library raises.
std::vector<int32_t> ValuesOf(std::span<const suite::Constant> constants, ITypeLib* library);

}  // namespace pylon

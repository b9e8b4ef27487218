#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "pdb/PDBFormat.h"

namespace pylon {

// The checks of what callers give to a database, the same for every kind. All raise error 5.

AutomationError BadArgument(std::u16string description);

// The ranges that Update takes: category 0 to 15, attributes 0 to 255, an id of 24 bits.
void RequireRecordFields(int32_t unique_id, int16_t category, int32_t attributes);
// When no record has the id that Remove was given.
AutomationError NoSuchRecord(int32_t unique_id);

void RequireDatabaseName(std::u16string_view name, const AnsiCodePage& code_page);
std::u16string WhyNotADatabaseName(std::u16string_view name);  // its words, for a log
void RequireCreatorId(std::u16string_view id, const AnsiCodePage& code_page);
void RequireDatabaseType(std::u16string_view id, const AnsiCodePage& code_page);

}  // namespace pylon

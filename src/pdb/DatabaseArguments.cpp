#include "pdb/DatabaseArguments.h"

#include <utility>

#include "base/Text.h"

namespace pylon {
namespace {

template <size_t N>
std::u16string Misfit(std::u16string_view text, std::u16string_view what) {
  return u"\"" + std::u16string(text) + u"\" is no " + std::u16string(what) +
         u": it may have up to " + ToText(int64_t{N}) + u" characters of the system's code page";
}

template <size_t N>
void RequireText(std::u16string_view text, std::u16string_view what,
                 const AnsiCodePage& code_page) {
  if (!FixedText<N>::Holds(text, code_page)) throw BadArgument(Misfit<N>(text, what));
}

constexpr std::u16string_view kDatabaseName = u"database name";

}  // namespace

AutomationError BadArgument(std::u16string description) {
  return AutomationError(ErrorNumber::kInvalidArgument, std::move(description));
}

void RequireRecordFields(int32_t unique_id, int16_t category, int32_t attributes) {
  if (category < 0 || category > 15) {
    throw BadArgument(u"The category " + ToText(category) + u" is not within 0 to 15");
  }
  if (attributes < 0 || attributes > 255) {
    throw BadArgument(u"The attributes " + ToText(attributes) + u" are not within 0 to 255");
  }
  if (unique_id < 0 || unique_id > static_cast<int32_t>(kMaxUniqueId)) {
    throw BadArgument(u"The unique id " + ToText(unique_id) + u" is not within 0 to 16777215");
  }
}

AutomationError NoSuchRecord(int32_t unique_id) {
  return BadArgument(u"No record has the unique id " + ToText(unique_id));
}

void RequireDatabaseName(std::u16string_view name, const AnsiCodePage& code_page) {
  RequireText<32>(name, kDatabaseName, code_page);
}
std::u16string WhyNotADatabaseName(std::u16string_view name) {
  return Misfit<32>(name, kDatabaseName);
}
void RequireCreatorId(std::u16string_view id, const AnsiCodePage& code_page) {
  RequireText<4>(id, u"creator id", code_page);
}
void RequireDatabaseType(std::u16string_view id, const AnsiCodePage& code_page) {
  RequireText<4>(id, u"database type", code_page);
}

}  // namespace pylon

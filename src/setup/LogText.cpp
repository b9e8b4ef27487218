#include "setup/LogText.h"

#include <algorithm>

#include "base/Text.h"
#include "files/CursorFile.h"

namespace pylon {
namespace {

constexpr std::u16string_view kErrorWords[] = {u"failed",
                                               u"failure",
                                               u"error",
                                               u"can't",
                                               u"cannot",
                                               u"could not",
                                               u"unable",
                                               u"has been closed",
                                               u"not registered",
                                               u"missing",
                                               u"no hotsync session"};
constexpr std::u16string_view kNoErrors[] = {u"0 ", u"no "};

// All but `text` must be in lower case already.
bool EqualsAt(std::u16string_view text, size_t at, std::u16string_view lower) noexcept {
  for (size_t i = 0; i < lower.size(); ++i) {
    if (ToLower(text[at + i]) != lower[i]) return false;
  }
  return true;
}

size_t FindIgnoringCase(std::u16string_view text, std::u16string_view lower,
                        size_t from = 0) noexcept {
  for (size_t at = from; lower.size() <= text.size() && at <= text.size() - lower.size(); ++at) {
    if (EqualsAt(text, at, lower)) return at;
  }
  return text.npos;
}

// "0 errors" is good news.
bool IsDenied(std::u16string_view text, size_t at) noexcept {
  return std::ranges::any_of(kNoErrors, [&](std::u16string_view none) {
    if (at < none.size() || !EqualsAt(text, at - none.size(), none)) return false;
    return at == none.size() || text[at - none.size() - 1] == u' ' ||
           text[at - none.size() - 1] == u'(';
  });
}

}  // namespace

bool IsErrorText(std::u16string_view text) {
  return std::ranges::any_of(kErrorWords, [text](std::u16string_view word) {
    for (size_t at = FindIgnoringCase(text, word); at != text.npos;
         at = FindIgnoringCase(text, word, at + 1)) {
      if (!IsDenied(text, at)) return true;
    }
    return false;
  });
}

void LogText::Take(ByteSpan bytes, uint64_t offset, bool unicode, const AnsiCodePage& code_page) {
  left_out_ = offset;
  if (!unicode) {
    text_ = code_page.Decode(bytes);
  } else {
    const size_t odd = offset % 2;
    text_ = DecodeUtf16(bytes.subspan(std::min(odd, bytes.size())));
    if (offset == 0 && text_.starts_with(u'\uFEFF')) text_.erase(0, 1);
  }
  Split();
}

void LogText::Split() {
  lines_.clear();
  size_t begin = 0;
  if (left_out_ > 0) {
    const size_t end = text_.find(u'\n');
    begin = end == text_.npos ? text_.size() : end + 1;
  }
  while (begin < text_.size()) {
    const size_t line_feed = std::min(text_.find(u'\n', begin), text_.size());
    const size_t end =
        line_feed > begin && text_[line_feed - 1] == u'\r' ? line_feed - 1 : line_feed;
    const std::u16string_view line(text_.data() + begin, end - begin);
    const size_t tab = line.find(u'\t');
    Line added = {begin, tab == line.npos ? begin : begin + tab, end, false};
    const bool goes_on = tab == line.npos;
    added.error = (goes_on && !lines_.empty() && lines_.back().error) ||
                  IsErrorText(goes_on ? line : line.substr(tab + 1));
    if (!line.empty()) lines_.push_back(added);
    begin = line_feed + 1;
  }
}

std::u16string_view LogText::Time(size_t line) const noexcept {
  const Line& at = lines_[line];
  return {text_.data() + at.begin, at.tab - at.begin};
}

std::u16string_view LogText::Text(size_t line) const noexcept {
  const Line& at = lines_[line];
  const size_t from = at.tab == at.begin ? at.begin : at.tab + 1;
  return {text_.data() + from, at.end - from};
}

std::vector<size_t> LogText::Matching(std::u16string_view words) const {
  const std::u16string lower = ToLower(words);
  std::vector<size_t> found;
  for (size_t line = 0; line < lines_.size(); ++line) {
    const Line& at = lines_[line];
    if (lower.empty() ||
        FindIgnoringCase({text_.data() + at.begin, at.end - at.begin}, lower) != text_.npos) {
      found.push_back(line);
    }
  }
  return found;
}

}  // namespace pylon

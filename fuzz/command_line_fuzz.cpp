// Compares the parser with a model that reads the text one character at a time, as a state machine
// over plain containers, and shares no code with it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "startup/cCommandLine.h"

namespace {

using pylon::cCommandLine;
using Text = std::u16string;

struct Switch {
  const char16_t* name;  // lower case
  bool takes_value;
};
constexpr Switch kSwitches[] = {{u"a", true}, {u"b", false}, {u"ab", true}, {u"", true}};

// A small alphabet, so that switches, quotes and blanks meet often.
constexpr char16_t kAlphabet[] = u"aAbB \"-/\t\u00fe\u00c4\u4e2dx ";
constexpr size_t kAlphabetSize = sizeof(kAlphabet) / sizeof(kAlphabet[0]) - 1;

std::vector<Text> Tokens(std::u16string_view text) {
  std::vector<Text> tokens(1);
  bool quoted = false;
  bool fresh = true;  // the next character begins a token
  for (const char16_t c : text) {
    if (fresh && c == u'"') {
      quoted = true;
      fresh = false;
    } else if (c == (quoted ? u'"' : u' ')) {
      tokens.emplace_back();
      quoted = false;
      fresh = true;
    } else {
      tokens.back().push_back(c);
      fresh = false;
    }
  }
  std::erase(tokens, Text());
  return tokens;
}

Text Lower(Text text) {  // of the alphabet above
  for (char16_t& c : text) {
    if (c == u'A' || c == u'B') c = static_cast<char16_t>(c + 32);
    if (c == u'\u00c4') c = u'\u00e4';
  }
  return text;
}

struct Model {
  std::vector<std::pair<Text, std::vector<Text>>> entries{{}};  // the plain arguments first

  Model(const std::vector<Text>& tokens, unsigned registered) {
    size_t current = 0;
    for (const Text& token : tokens) {
      if (token[0] != u'-' && token[0] != u'/') {
        Add(current, token);
        continue;
      }
      const Text name = Lower(token.substr(1));
      const Switch* known = nullptr;
      for (size_t i = 0; i < std::size(kSwitches); ++i) {
        if ((registered >> i & 1) && name == kSwitches[i].name) known = &kSwitches[i];
      }
      if (!known) {
        Add(0, u"-" + token.substr(1));
        continue;
      }
      entries.push_back({name, {}});
      current = known->takes_value ? entries.size() - 1 : 0;
    }
  }
  void Add(size_t entry, const Text& value) {
    if (entries[entry].second.size() < 50) entries[entry].second.push_back(value);
  }
  const std::vector<Text>* Find(const Text& name) const {
    for (size_t i = 1; i < entries.size(); ++i) {
      if (entries[i].first == name) return &entries[i].second;
    }
    return nullptr;
  }
};

Text Joined(const std::vector<Text>& values) {
  Text text;
  for (const Text& value : values) text += value + u'\u00fe';
  if (!text.empty()) text.pop_back();
  return text;
}

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned registered = data[0];
  Text text;
  for (size_t i = 1; i < size; ++i) text.push_back(kAlphabet[data[i] % kAlphabetSize]);

  cCommandLine parser;
  for (size_t i = 0; i < std::size(kSwitches); ++i) {
    if (registered >> i & 1) parser.AddSwitch(kSwitches[i].name, kSwitches[i].takes_value);
  }
  // What an earlier text left behind must not show.
  if (registered & 0x80) parser.SetCommandLine(u"-a left -b over");
  parser.SetCommandLine(text);

  const Model model(Tokens(text), registered);
  Check(parser.CommandLine() == text);
  Check(parser.MainArg() == Joined(model.entries[0].second));
  for (const Text name : {u"a", u"b", u"ab", u"", u"x"}) {
    const std::vector<Text>* values = model.Find(name);
    Check(parser.HasSwitch(name) == (values != nullptr));
    Check(parser.SwitchValue(name) == (values ? Joined(*values) : Text()));
  }
  Check(text.ends_with(pylon::ArgumentText(text)));
  return 0;
}

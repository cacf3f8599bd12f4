// Form description text, read line by line with plain scans.
#include "zmdb/ui/form_text.h"

#include <algorithm>
#include <charconv>

#include "zmdb/runtime/text.h"

namespace zmdb::ui {

namespace {

constexpr std::string_view kBlank = " \t\r";

std::string_view Trim(std::string_view s) {
  const std::size_t first = s.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return s.substr(first, s.find_last_not_of(kBlank) - first + 1);
}

// The next word of `rest` (up to a blank), taken off its front.
std::string_view NextWord(std::string_view& rest) {
  rest = Trim(rest);
  const std::size_t end = std::min(rest.find_first_of(kBlank), rest.size());
  const std::string_view word = rest.substr(0, end);
  rest = Trim(rest.substr(end));
  return word;
}

bool Is(std::string_view word, std::string_view keyword) {
  return word.size() == keyword.size() && rt::StartsWithNoCase(word, keyword);
}

// `value` up to a "'" that stands outside double quotes.
std::string_view WithoutComment(std::string_view value) {
  bool quoted = false;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '"') {
      quoted = !quoted;
    } else if (value[i] == '\'' && !quoted) {
      return value.substr(0, i);
    }
  }
  return value;
}

// The text of `value` when it is exactly one quoted string, doubled quotes
// made single; nothing when it is anything else.
std::optional<std::string> Unquoted(std::string_view value) {
  if (value.size() < 2 || value.front() != '"') return std::nullopt;
  std::string text;
  std::size_t i = 1;
  while (i < value.size()) {
    if (value[i] != '"') {
      text.push_back(value[i++]);
    } else if (i + 1 < value.size() && value[i + 1] == '"') {
      text.push_back('"');
      i += 2;
    } else {
      break;
    }
  }
  if (i != value.size() - 1) return std::nullopt;  // unclosed, or text after the string
  return text;
}

class Parser {
 public:
  explicit Parser(FormText& out) : out_(out) {}

  // Feeds one line; false once the text is known to be malformed or the code
  // is reached (nothing further is read).
  bool Line(std::string_view raw) {
    ++lineNo_;
    if (raw.find('\0') != std::string_view::npos) return Fail("binary data (a NUL byte)");
    const std::string_view line = Trim(raw);
    if (line.empty()) return true;
    switch (stage_) {
      case Stage::Header:
        return Header(line);
      case Stage::Objects:
        return Objects(line);
      case Stage::Body:
        return Body(line);
      case Stage::After:
        return After(line);
    }
    return false;
  }

  // At the end of the text: what is still open makes it malformed.
  void Finish() {
    if (out_.error || reachedCode_) return;
    switch (stage_) {
      case Stage::Header:
        Fail("no VERSION line");
        break;
      case Stage::Objects:
        Fail("no form block");
        break;
      case Stage::Body:
        if (!groups_.empty()) {
          Fail("property group '" + groups_.back().name + "' begun at line " +
               std::to_string(groups_.back().line) + " is not ended");
        } else {
          Fail("block '" + blocks_.back().name + "' begun at line " +
               std::to_string(blocks_.back().line) + " is not ended");
        }
        break;
      case Stage::After:
        break;
    }
  }

 private:
  enum class Stage { Header, Objects, Body, After };
  struct Open {
    std::string name;
    std::size_t line;
    std::size_t control;           // index into controls, or kForm
    std::size_t prefixLength = 0;  // for groups: the length of the prefix before it
  };
  static constexpr std::size_t kForm = static_cast<std::size_t>(-1);

  bool Fail(std::string message) {
    out_.error = FormTextError{lineNo_, std::move(message)};
    return false;
  }

  bool Header(std::string_view line) {
    std::string_view rest = line;
    if (!Is(NextWord(rest), "VERSION") || rest.empty()) return Fail("no VERSION line");
    out_.version = std::string(rest);
    stage_ = Stage::Objects;
    return true;
  }

  bool Objects(std::string_view line) {
    std::string_view rest = line;
    const std::string_view word = NextWord(rest);
    if (Is(word, "Begin")) {
      stage_ = Stage::Body;
      return BeginBlock(rest);
    }
    if (Is(line, "End")) return Fail("'End' without 'Begin'");
    std::string key, value;
    if (SplitKeyValue(line, key, value) && Is(key, "Object")) {
      out_.objects.push_back(std::move(value));
      return true;
    }
    return Fail("expected an Object line or 'Begin'");
  }

  bool BeginBlock(std::string_view rest) {
    const std::string_view type = NextWord(rest);
    const std::string_view name = NextWord(rest);
    if (type.empty() || name.empty() || !rest.empty())
      return Fail("a Begin line needs a type and a name");
    FormControl c;
    const std::size_t dot = type.find('.');
    if (dot == std::string_view::npos) {
      c.cls = std::string(type);
    } else {
      c.library = std::string(type.substr(0, dot));
      c.cls = std::string(type.substr(dot + 1));
      if (c.library.empty() || c.cls.empty()) return Fail("a Begin line needs a type and a name");
    }
    c.name = std::string(name);
    std::size_t index = kForm;
    if (blocks_.empty()) {
      out_.form = std::move(c);
    } else {
      c.parent = blocks_.back().name;
      index = out_.controls.size();
      out_.controls.push_back(std::move(c));
    }
    blocks_.push_back(Open{std::string(name), lineNo_, index});
    return true;
  }

  FormControl& Current() {
    const std::size_t i = blocks_.back().control;
    return i == kForm ? out_.form : out_.controls[i];
  }

  bool Body(std::string_view line) {
    std::string_view rest = line;
    const std::string_view word = NextWord(rest);
    if (Is(word, "Begin")) {
      if (!groups_.empty())
        return Fail("'Begin' inside property group '" + groups_.back().name + "'");
      return BeginBlock(rest);
    }
    if (Is(line, "End")) {
      if (!groups_.empty())
        return Fail("'End' while property group '" + groups_.back().name + "' is open");
      blocks_.pop_back();
      if (blocks_.empty()) stage_ = Stage::After;
      return true;
    }
    if (Is(word, "BeginProperty")) {
      const std::string_view name = NextWord(rest);
      if (name.empty()) return Fail("a BeginProperty line needs a name");
      groups_.push_back(Open{std::string(name), lineNo_, kForm, prefix_.size()});
      prefix_.append(name).push_back('.');
      return true;
    }
    if (Is(line, "EndProperty")) {
      if (groups_.empty()) return Fail("'EndProperty' without 'BeginProperty'");
      prefix_.resize(groups_.back().prefixLength);
      groups_.pop_back();
      return true;
    }
    std::string key, value;
    if (!SplitKeyValue(line, key, value) || key.find_first_of(kBlank) != std::string::npos)
      return Fail("expected a property, 'Begin', 'End' or a property group");
    FormControl& c = Current();
    if (groups_.empty() && Is(key, "Index")) {
      std::int32_t n = 0;
      const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), n);
      if (ec != std::errc() || end != value.data() + value.size() || n < 0)
        return Fail("Index '" + value + "' is not a number");
      c.index = n;
    }
    c.properties.push_back(FormProperty{prefix_ + key, std::move(value)});
    return true;
  }

  bool After(std::string_view line) {
    std::string_view rest = line;
    const std::string_view word = NextWord(rest);
    if (Is(line, "End")) return Fail("'End' without 'Begin'");
    if (Is(word, "Begin")) return Fail("a second outer block");
    if (!Is(word, "Attribute")) {
      reachedCode_ = true;
      return false;
    }
    std::string key, value;
    if (!SplitKeyValue(rest, key, value)) return Fail("an Attribute line needs a name and a value");
    out_.attributes.push_back(FormProperty{std::move(key), std::move(value)});
    return true;
  }

  FormText& out_;
  Stage stage_ = Stage::Header;
  std::size_t lineNo_ = 0;
  std::vector<Open> blocks_;
  std::vector<Open> groups_;
  std::string prefix_;  // the open groups' names, each followed by "."
  bool reachedCode_ = false;
};

}  // namespace

bool SplitKeyValue(std::string_view line, std::string& key, std::string& value) {
  key.clear();
  value.clear();
  const std::size_t eq = line.find('=');
  if (eq == std::string_view::npos) return false;
  const std::string_view k = Trim(line.substr(0, eq));
  if (k.empty() || k.find('"') != std::string_view::npos) return false;
  const std::string_view v = Trim(WithoutComment(line.substr(eq + 1)));
  key = std::string(k);
  if (auto text = Unquoted(v)) {
    value = std::move(*text);
  } else {
    value = std::string(v);
  }
  return true;
}

FormText ParseFormText(std::string_view text) {
  FormText out;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  Parser parser(out);
  std::size_t from = 0;
  while (from < text.size()) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    if (!parser.Line(text.substr(from, end - from))) break;
    from = end + 1;
  }
  parser.Finish();
  return out;
}

}  // namespace zmdb::ui

// The form description parser. Any text gives either an error naming a line
// of the text, or a whole form: a named outer block whose controls each name
// an enclosing block that began before them. Every line splits as a
// key-value line or not, consistently; and the guarded method over a file of
// the same text answers with its failure value exactly when the parser
// reports an error.
#include "zmdb/ui/form_text.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <string>

#include "fuzz_check.h"
#include "temp_folder.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = zmdb::fuzz::Text(data, size);
  const zmdb::ui::FormText form = zmdb::ui::ParseFormText(text);
  // At most one line per line end of any kind, and one after the last.
  const auto ends =
      std::count_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; });
  if (form.error) {
    // Line 0: what was missing at the end of the text.
    FUZZ_CHECK(form.error->line <= static_cast<std::size_t>(ends) + 1);
    FUZZ_CHECK(!form.error->message.empty());
  } else {
    FUZZ_CHECK(!form.form.name.empty());
    FUZZ_CHECK(form.form.parent.empty());
    std::set<std::string> begun{form.form.name};
    for (const auto& control : form.controls) {
      FUZZ_CHECK(begun.contains(control.parent));
      FUZZ_CHECK(control.index >= -1);
      begun.insert(control.name);
    }
  }

  std::string key, value;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string_view line(text.data() + start, end - start);
    if (zmdb::ui::SplitKeyValue(line, key, value)) {
      FUZZ_CHECK(!key.empty() && key.find('"') == std::string::npos);
    } else {
      FUZZ_CHECK(key.empty() && value.empty());
    }
    start = end + 1;
  }

  static const auto host = std::make_shared<zmdb::rt::HeadlessHost>();
  zmdb::rt::ScopedHost scope(host);
  host->SetEcho(false);
  host->ClearRecord();
  const std::string path = (zmdb::fuzz::TempFolder() / "form.frm").string();
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
  }
  zmdb::clsZMDBFunc component;
  const zmdb::rt::SafeArray controls = component.dbGetFormCtlInfo(path);
  FUZZ_CHECK(controls.allocated() == !form.error);
  return 0;
}

// The Jet-to-SQL-Server translator: any text is translated or refused with a
// run-time error, and the two ways the FORMAT/IIF pass can hold its text
// (a flat buffer, a tree) give the same translation or the same error.
#include "zmdb/sqlconv/translator.h"

#include <optional>
#include <string>

#include "fuzz_check.h"
#include "zmdb/runtime/error.h"

namespace {

using zmdb::sqlconv::PassText;

struct Outcome {
  std::optional<std::string> text;
  std::int32_t error = 0;
  bool operator==(const Outcome&) const = default;
};

Outcome Translate(const std::string& statement, PassText how) {
  Outcome outcome;
  try {
    outcome.text = zmdb::sqlconv::TranslateJetToSql(statement, how);
  } catch (const zmdb::rt::PlatformError& e) {
    outcome.error = e.number();
  }
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string statement = zmdb::fuzz::Text(data, size);
  const Outcome automatic = Translate(statement, PassText::kAuto);
  FUZZ_CHECK(automatic == Translate(statement, PassText::kBuffer));
  FUZZ_CHECK(automatic == Translate(statement, PassText::kTree));
  if (automatic.text) FUZZ_CHECK(automatic.text->find(';') == std::string::npos);

  // The helpers on the same text: masking keeps the length, and a pattern
  // without "*" is a plain replace-all.
  FUZZ_CHECK(zmdb::sqlconv::MaskQuotes(statement).size() == statement.size());
  const std::string once = zmdb::sqlconv::WildcardReplace(statement, "VAL(*)", "CAST(* AS INT)");
  FUZZ_CHECK(once == zmdb::sqlconv::WildcardReplace(statement, "VAL(*)", "CAST(* AS INT)"));
  return 0;
}

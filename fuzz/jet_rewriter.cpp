// The file store's Jet SQL rewriter: any text becomes SQLite statements or is
// refused with a run-time error, the same way every time; and each statement
// the splitter cuts from the text rewrites or is refused likewise.
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "jetsql_p.h"
#include "zmdb/runtime/error.h"

namespace {

using zmdb::dal::sqlite::RewriteJet;

// The statements, or the error number as the only entry.
std::vector<std::string> Rewrite(std::string_view jet) {
  try {
    return RewriteJet(jet).statements;
  } catch (const zmdb::rt::PlatformError& e) {
    return {"error " + std::to_string(e.number())};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = zmdb::fuzz::Text(data, size);
  FUZZ_CHECK(Rewrite(text) == Rewrite(text));
  std::vector<std::string> parts;
  try {
    parts = zmdb::dal::sqlite::SplitStatements(text);
  } catch (const zmdb::rt::PlatformError&) {
  }
  if (parts.size() > 1) {
    for (const std::string& part : parts) {
      FUZZ_CHECK(!part.empty());
      Rewrite(part);
    }
  }
  return 0;
}

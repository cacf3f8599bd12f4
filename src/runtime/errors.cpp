// The error table (errors.h), built from error_table.inc.
#include "zmdb/runtime/errors.h"

namespace zmdb::rt {

namespace {
constexpr ErrorEntry kTable[] = {
#define ZMDB_ERROR(name, number, text, source, byNumber) {#name, number, text, source, byNumber},
#include "zmdb/runtime/error_table.inc"
#undef ZMDB_ERROR
};
}  // namespace

std::span<const ErrorEntry> ErrorTable() {
  return kTable;
}

// A linear search: the table is short and errors are rare.
const ErrorEntry* FindError(std::int32_t number) {
  for (const ErrorEntry& e : kTable) {
    if (e.number == number) return &e;
  }
  return nullptr;
}

std::string ErrorText(std::int32_t number, std::string_view name) {
  const ErrorEntry* e = FindError(number);
  if (!e) return {};
  std::string text(e->text);
  if (const auto at = text.find("{}"); at != std::string::npos) text.replace(at, 2, name);
  return text;
}

}  // namespace zmdb::rt

// The one table of error numbers (error_table.inc): every error the library
// raises, with its name, number, standard text and default source. The named
// constants rt::err::kXxx, the run time's texts for a bare Raise(number) and
// the raising helpers of every layer all read it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zmdb::rt {

namespace err {
#define ZMDB_ERROR(name, number, text, source, byNumber) \
  inline constexpr std::int32_t name = number;
#include "zmdb/runtime/error_table.inc"
#undef ZMDB_ERROR
}  // namespace err

// One error of the table.
struct ErrorEntry {
  std::string_view name;    // the constant's name in rt::err ("kTypeMismatch")
  std::int32_t number = 0;  // as the caller's error object reports it
  std::string_view text;    // the standard text; "{}" stands for a name
  std::string_view source;  // the object a raise names when its site names none
  bool byNumber = false;    // the run time's own text for a bare Raise(number)
};

// The whole table, in the order it is written.
std::span<const ErrorEntry> ErrorTable();
// The entry of `number`, or null for a number the library does not raise.
const ErrorEntry* FindError(std::int32_t number);
// The standard text of error `number` with `name` in place of "{}"; "" for a
// number that is not in the table.
std::string ErrorText(std::int32_t number, std::string_view name = {});

}  // namespace zmdb::rt

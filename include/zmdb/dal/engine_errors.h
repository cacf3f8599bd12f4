// Raising the data engine's errors (numbers and texts in the runtime's error
// table, errors.h), as the schema store and the DAO-style objects raise them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zmdb/runtime/errors.h"

namespace zmdb::dal::engerr {

inline constexpr const char* kSource = "DAO.Database";

// Raise engine error `number` with `text` from `source` (a number's standard
// text and source: rt::RaiseStandard).
[[noreturn]] void Raise(std::int32_t number, const std::string& text, const char* source = kSource);

// The common refusals, worded as the engine words them.
[[noreturn]] void ItemNotFound(const char* source = kSource);
[[noreturn]] void TableExists(std::string_view name);
[[noreturn]] void ObjectExists(std::string_view name);
[[noreturn]] void ObjectInvalid();
[[noreturn]] void InvalidOperation();
[[noreturn]] void NotYetSupported(std::string_view what);

}  // namespace zmdb::dal::engerr

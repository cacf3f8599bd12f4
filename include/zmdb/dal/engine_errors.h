// The data engine's own error numbers and texts, raised by the schema store
// and the DAO-style objects the way the engine words them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zmdb::dal::engerr {

inline constexpr const char* kSource = "DAO.Database";

inline constexpr std::int32_t kTableExists = 3010;      // Table 'x' already exists.
inline constexpr std::int32_t kObjectExists = 3012;     // Object 'x' already exists.
inline constexpr std::int32_t kDuplicateValues = 3022;  // duplicate values in the index
inline constexpr std::int32_t kFileNotFound = 3024;     // Could not find file 'x'.
inline constexpr std::int32_t kNullInIndex = 3058;  // Index or primary key cannot contain a Null
inline constexpr std::int32_t kSelectNotExecutable = 3065;
inline constexpr std::int32_t kNoInputTable = 3078;   // cannot find the input table or query
inline constexpr std::int32_t kNoUniqueIndex = 3173;  // relation without a unique primary index
inline constexpr std::int32_t kFieldExists = 3191;    // Cannot define field more than once.
inline constexpr std::int32_t kRelatedRecordRequired = 3201;
inline constexpr std::int32_t kDatabaseExists = 3204;
inline constexpr std::int32_t kInvalidOperation = 3219;
inline constexpr std::int32_t kNotSupported = 3251;  // not supported for this type of object
inline constexpr std::int32_t kInvalidFieldType = 3259;
inline constexpr std::int32_t kItemNotFound = 3265;
inline constexpr std::int32_t kPropertyNotFound = 3270;
inline constexpr std::int32_t kFieldInIndex = 3280;
inline constexpr std::int32_t kPrimaryKeyExists = 3283;
inline constexpr std::int32_t kIndexExists = 3284;
inline constexpr std::int32_t kFieldRequired = 3314;
inline constexpr std::int32_t kZeroLength = 3315;
inline constexpr std::int32_t kUnrecognizedFormat = 3343;
inline constexpr std::int32_t kPropertyExists = 3367;
inline constexpr std::int32_t kNoFields =
    3264;  // No field defined--cannot append TableDef or Index.
inline constexpr std::int32_t kObjectInvalid = 3420;    // Object invalid or no longer set.
inline constexpr std::int32_t kInstallableIsam = 3170;  // Could not find installable ISAM.
inline constexpr std::int32_t kInvalidArgument = 3001;

// Raise engine error `number` with `text` from `source`.
[[noreturn]] void Raise(std::int32_t number, const std::string& text, const char* source = kSource);

// The common refusals, worded as the engine words them.
[[noreturn]] void ItemNotFound(const char* source = kSource);
[[noreturn]] void TableExists(std::string_view name);
[[noreturn]] void ObjectExists(std::string_view name);
[[noreturn]] void ObjectInvalid();
[[noreturn]] void NotYetSupported(std::string_view what);

}  // namespace zmdb::dal::engerr

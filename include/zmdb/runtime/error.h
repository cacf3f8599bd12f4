// Platform errors: the one exception type that carries a failure from the place
// it happens to the guard of the public method that called it.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace zmdb::rt {

// Error numbers the library raises or tests. Run-time numbers are small
// positive values; data-access numbers are HRESULTs as signed 32-bit values;
// data-engine numbers (3010, 3265) are the engine's own.
namespace err {
inline constexpr std::int32_t kInvalidProcCall = 5;
inline constexpr std::int32_t kOverflow = 6;
inline constexpr std::int32_t kOutOfMemory = 7;
inline constexpr std::int32_t kSubscriptOutOfRange = 9;
inline constexpr std::int32_t kTypeMismatch = 13;
inline constexpr std::int32_t kFileNotFound = 53;
inline constexpr std::int32_t kBadFileMode = 54;
inline constexpr std::int32_t kInputPastEnd = 62;
inline constexpr std::int32_t kObjectNotSet = 91;
inline constexpr std::int32_t kInvalidUseOfNull = 94;
inline constexpr std::int32_t kObjectRequired = 424;
inline constexpr std::int32_t kNotSupported = 438;
inline constexpr std::int32_t kArgNotOptional = 449;
inline constexpr std::int32_t kWrongArgCount = 450;
inline constexpr std::int32_t kTableExists = 3010;
inline constexpr std::int32_t kItemNotFound = 3265;
// 0x80040E14: the command text has a syntax error (also: object in use).
inline constexpr std::int32_t kSyntaxError = -2147217900;
// 0x80040E10: a name the engine could not resolve is read as a missing parameter.
inline constexpr std::int32_t kMissingParameter = -2147217904;
// 0x80040E37: no such table or object.
inline constexpr std::int32_t kNoSuchObject = -2147217865;
// 0x80040E09: permission denied.
inline constexpr std::int32_t kPermissionDenied = -2147217911;
// 0x80040E21: a multiple-step operation generated errors.
inline constexpr std::int32_t kMultipleStep = -2147217887;
// 0x80004005: unspecified failure (the generic provider error).
inline constexpr std::int32_t kUnspecified = -2147467259;
// 0x800A0E78: operation is not allowed when the object is closed.
inline constexpr std::int32_t kObjectClosed = -2146824584;
// 0x800A0CC1: item cannot be found in the collection for the name or ordinal.
inline constexpr std::int32_t kAdoItemNotFound = -2146825023;
// 0x800A0CB3: the operation is not supported by the provider (read-only recordset).
inline constexpr std::int32_t kAdoNotSupported = -2146825037;
// 0x800A0BCD: either BOF or EOF is true, or the current record was deleted.
inline constexpr std::int32_t kAdoBofEof = -2146825267;
}  // namespace err

// The source name the run time reports for its own errors.
inline constexpr const char* kRuntimeSource = "ZMDBFuncProj";

// The three members of the platform's error object.
struct ErrorInfo {
  std::int32_t Number = 0;
  std::string Source;
  std::string Description;

  bool operator==(const ErrorInfo&) const = default;
};

// A failure raised by the run time, the data-access layer or a host object.
class PlatformError : public std::exception {
 public:
  explicit PlatformError(ErrorInfo info) : info_(std::move(info)) {}
  PlatformError(std::int32_t number, std::string description, std::string source = kRuntimeSource)
      : info_{number, std::move(source), std::move(description)} {}

  const ErrorInfo& info() const noexcept { return info_; }
  std::int32_t number() const noexcept { return info_.Number; }
  const char* what() const noexcept override { return info_.Description.c_str(); }

 private:
  ErrorInfo info_;
};

// The run time's own text for one of its error numbers ("Type mismatch" for 13);
// "Application-defined or object-defined error" for numbers it does not know.
std::string RuntimeErrorText(std::int32_t number);

// Raise run-time error `number` with its standard text, or with `description`
// when one is given.
[[noreturn]] void Raise(std::int32_t number, std::string description = {},
                        std::string source = kRuntimeSource);

// Turn whatever a call threw into the platform's error object. PlatformError
// keeps its members; any other exception becomes error 0x80004005 with its text.
ErrorInfo ErrorFromCurrentException() noexcept;

}  // namespace zmdb::rt

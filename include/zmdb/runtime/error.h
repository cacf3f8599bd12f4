// Platform errors: the one exception type that carries a failure from the place
// it happens to the guard of the public method that called it.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "zmdb/runtime/errors.h"

namespace zmdb::rt {

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

// Raise error `number` with the table's text (`name` in place of "{}") from
// `source`, or from the table's default source when `source` is null.
[[noreturn]] void RaiseStandard(std::int32_t number, const char* source = nullptr,
                                std::string_view name = {});
// Raise error `number` with the table's text followed by " (detail)", from
// `source`, or from the table's default source when `source` is null.
[[noreturn]] void RaiseDetailed(std::int32_t number, std::string_view detail,
                                const char* source = nullptr);

// Turn whatever a call threw into the platform's error object. PlatformError
// keeps its members; any other exception becomes error 0x80004005 with its text.
ErrorInfo ErrorFromCurrentException() noexcept;

}  // namespace zmdb::rt

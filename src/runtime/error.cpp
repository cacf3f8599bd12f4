#include "zmdb/runtime/error.h"

#include <new>

namespace zmdb::rt {

// The table's text for the run time's own numbers; every other number is
// the caller's own error.
std::string RuntimeErrorText(std::int32_t number) {
  const ErrorEntry* e = FindError(number);
  if (e && e->byNumber) return std::string(e->text);
  return "Application-defined or object-defined error";
}

void Raise(std::int32_t number, std::string description, std::string source) {
  if (description.empty()) description = RuntimeErrorText(number);
  throw PlatformError(number, std::move(description), std::move(source));
}

namespace {
// `source`, or the table's default source of `number` when it is null.
std::string SourceOr(const char* source, std::int32_t number) {
  if (source) return source;
  const ErrorEntry* e = FindError(number);
  return e ? std::string(e->source) : std::string(kRuntimeSource);
}
}  // namespace

void RaiseStandard(std::int32_t number, const char* source, std::string_view name) {
  throw PlatformError(number, ErrorText(number, name), SourceOr(source, number));
}

void RaiseDetailed(std::int32_t number, std::string_view detail, const char* source) {
  throw PlatformError(number, ErrorText(number) + " (" + std::string(detail) + ")",
                      SourceOr(source, number));
}

ErrorInfo ErrorFromCurrentException() noexcept {
  try {
    throw;
  } catch (const PlatformError& e) {
    return e.info();
  } catch (const std::bad_alloc&) {
    return {err::kOutOfMemory, kRuntimeSource, RuntimeErrorText(err::kOutOfMemory)};
  } catch (const std::exception& e) {
    return {err::kUnspecified, kRuntimeSource, e.what()};
  } catch (...) {
    return {err::kUnspecified, kRuntimeSource, "Unknown failure"};
  }
}

}  // namespace zmdb::rt

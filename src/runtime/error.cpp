#include "zmdb/runtime/error.h"

#include <new>

namespace zmdb::rt {

std::string RuntimeErrorText(std::int32_t number) {
  switch (number) {
    case err::kInvalidProcCall:
      return "Invalid procedure call or argument";
    case err::kOverflow:
      return "Overflow";
    case err::kOutOfMemory:
      return "Out of memory";
    case err::kSubscriptOutOfRange:
      return "Subscript out of range";
    case err::kTypeMismatch:
      return "Type mismatch";
    case err::kFileNotFound:
      return "File not found";
    case err::kBadFileMode:
      return "Bad file mode";
    case err::kInputPastEnd:
      return "Input past end of file";
    case err::kObjectNotSet:
      return "Object variable or With block variable not set";
    case err::kInvalidUseOfNull:
      return "Invalid use of Null";
    case err::kObjectRequired:
      return "Object required";
    case err::kNotSupported:
      return "Object doesn't support this property or method";
    case err::kArgNotOptional:
      return "Argument not optional";
    case err::kWrongArgCount:
      return "Wrong number of arguments or invalid property assignment";
    case err::kItemNotFound:
      return "Item not found in this collection.";
    default:
      return "Application-defined or object-defined error";
  }
}

void Raise(std::int32_t number, std::string description, std::string source) {
  if (description.empty()) description = RuntimeErrorText(number);
  throw PlatformError(number, std::move(description), std::move(source));
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

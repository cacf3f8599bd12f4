// The number of the platform error a piece of code raises, for tests that
// expect a failure by its number.
#pragma once

#include <cstdint>
#include <functional>

#include "zmdb/runtime/error.h"

namespace zmdb::dal::testing {

// The number of the platform error `f` raises, or 0.
inline std::int32_t RaisedNumber(const std::function<void()>& f) {
  try {
    f();
  } catch (const rt::PlatformError& e) {
    return e.number();
  }
  return 0;
}

// The platform error `f` raises (Number 0 and empty texts when none), for
// tests that also look at its text or source.
inline rt::ErrorInfo RaisedError(const std::function<void()>& f) {
  try {
    f();
  } catch (const rt::PlatformError& e) {
    return e.info();
  }
  return {};
}

}  // namespace zmdb::dal::testing

// The C interface's private parts: what the opaque handles hold, the
// conversions between tagged C values and Variants, and the edge that turns
// whatever a call threw into a returned error number.
#pragma once

#include <string>
#include <vector>

#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"
#include "zmdb/zmdb.h"

struct zmdb_object {
  zmdb::rt::ObjectRef object;  // never null: Nothing travels as a NULL handle
  std::string type;
};

namespace zmdb::capi {

// A value the caller gave, as a Variant. Raises error 5 for a malformed value
// (unknown kind, elements or names missing) and 28 for one nested deeper than
// values may nest.
rt::Variant FromC(const zmdb_value& value);
// Arguments by position: `n` values from `values` (which may be NULL only
// when `n` is 0).
std::vector<rt::Variant> FromC(const zmdb_value* values, std::size_t n);

// Fills `out` (whose old content is ignored) with a value the library owns;
// zmdb_value_clear frees it.
void ToC(const rt::Variant& v, zmdb_value& out);
// A new handle to `object` (nullptr for Nothing).
zmdb_object* NewHandle(const rt::ObjectRef& object);

// Values lent to a host callback: converted on construction, freed on
// destruction, whatever the callback wrote into the array it was given.
class LentValues {
 public:
  explicit LentValues(const std::vector<rt::Variant>& values);
  ~LentValues();
  LentValues(const LentValues&) = delete;
  LentValues& operator=(const LentValues&) = delete;

  // The array the callback gets (NULL when empty) and its length.
  zmdb_value* data() { return lent_.empty() ? nullptr : lent_.data(); }
  std::size_t size() const { return lent_.size(); }
  // True when the callback replaced the value at `i`.
  bool Replaced(std::size_t i) const;
  const zmdb_value& at(std::size_t i) const { return lent_[i]; }

 private:
  std::vector<zmdb_value> owned_;
  std::vector<zmdb_value> lent_;
};

// Records the error of the exception being handled as this thread's latest
// failure and returns its number (never 0).
int Failed() noexcept;

// Runs `body` at the edge of the interface: ZMDB_OK, or the number of what it
// threw, recorded for zmdb_error_*.
template <class Body>
int Edge(Body&& body) noexcept {
  try {
    body();
    return ZMDB_OK;
  } catch (...) {
    return Failed();
  }
}

}  // namespace zmdb::capi

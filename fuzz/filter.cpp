// The client-side filter language: any expression is parsed or refused with
// a run-time error, and a parsed filter answers for rows of every kind of
// value (Nulls, empty text, extremes) without failing, the same way twice.
#include "zmdb/dal/filter.h"

#include <limits>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/variant.h"

namespace {

using zmdb::rt::Variant;

const std::vector<zmdb::dal::FilterColumn>& Columns() {
  static const std::vector<zmdb::dal::FilterColumn> columns{
      {"ID", 3},      {"Name", 202}, {"Hired", 7},       {"Pay", 6},
      {"Active", 11}, {"Note", 203}, {"Home City", 202}, {"Ratio", 5}};
  return columns;
}

std::vector<std::vector<Variant>> Rows() {
  const Variant null = Variant::Null();
  return {
      {Variant(std::int32_t{1}), Variant(std::string("apple")), Variant(zmdb::rt::Date{38229.0}),
       Variant(zmdb::rt::Currency{12345}), Variant(true), Variant(std::string("x")),
       Variant(std::string("a b")), Variant(0.5)},
      {null, null, null, null, null, null, null, null},
      {Variant(std::numeric_limits<std::int32_t>::min()), Variant(std::string()),
       Variant(zmdb::rt::Date{-657434.0}),
       Variant(zmdb::rt::Currency{std::numeric_limits<std::int64_t>::max()}), Variant(false),
       Variant(std::string("%*_[")), Variant(std::string("\xE4\xB8\xAD")),
       Variant(std::numeric_limits<double>::infinity())},
  };
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string expression = zmdb::fuzz::Text(data, size);
  std::shared_ptr<const zmdb::dal::Filter> filter;
  try {
    filter = zmdb::dal::ParseFilter(expression, Columns());
  } catch (const zmdb::rt::PlatformError&) {
    return 0;
  }
  FUZZ_CHECK(filter != nullptr);
  static const auto rows = Rows();
  for (const auto& row : rows) {
    try {
      const bool first = filter->Matches(row);
      FUZZ_CHECK(first == filter->Matches(row));
    } catch (const zmdb::rt::PlatformError&) {
      // A comparison the run time refuses (a type mismatch) is an answer too.
    }
  }
  return 0;
}

// Variant: the run time's tagged value. It carries every value that crosses the
// library's public interface and the data-access layer: Empty, Null, numbers,
// Currency, Date, String, objects, the Error form of a missing argument,
// arrays with a lower bound, and records of the type library.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zmdb::rt {

class Object;
using ObjectRef = std::shared_ptr<Object>;
class Variant;

// The run time's VarType numbers.
enum class VarType : int {
  Empty = 0,
  Null = 1,
  Integer = 2,  // 16-bit signed
  Long = 3,     // 32-bit signed
  Single = 4,
  Double = 5,
  Currency = 6,  // 64-bit integer scaled by 10,000
  Date = 7,      // days since 1899-12-30, time as the fraction
  String = 8,
  Object = 9,
  Error = 10,
  Boolean = 11,
  Variant = 12,  // only as an array's element type
  Byte = 17,
  Record = 36,  // a record (user-defined type) of the type library
  Array = 8192,
};

// A Currency value: the amount times 10,000, exactly.
struct Currency {
  std::int64_t scaled = 0;
  static Currency FromDouble(double v);  // rounds half to even at the 4th decimal
  double ToDouble() const { return static_cast<double>(scaled) / 10000.0; }
  bool operator==(const Currency&) const = default;
};

// A Date value: the serial day number of the platform (1899-12-30 is day 0);
// the fraction is the time of day. Negative serials are days before 1899-12-30
// with a positive time fraction, as on the platform.
struct Date {
  double serial = 0.0;
  bool operator==(const Date&) const = default;
};

// The Error subtype. A missing optional argument is Error 0x80020004.
struct ErrorCode {
  std::int32_t scode = 0;
  bool operator==(const ErrorCode&) const = default;
};
inline constexpr std::int32_t kParamNotFound = static_cast<std::int32_t>(0x80020004u);

// An array with a lower bound and an element type (Variant for mixed arrays).
// An unallocated array has no items at all (its bounds cannot be read).
class SafeArray {
 public:
  SafeArray();                              // unallocated Variant()
  explicit SafeArray(VarType elementType);  // unallocated array of that type
  SafeArray(VarType elementType, std::int32_t lbound, std::vector<Variant> items);
  SafeArray(const SafeArray& other);
  SafeArray(SafeArray&&) noexcept;
  SafeArray& operator=(const SafeArray& other);
  SafeArray& operator=(SafeArray&&) noexcept;
  ~SafeArray();

  VarType elementType() const { return elementType_; }
  bool allocated() const;
  // Bounds raise error 9 on an unallocated array.
  std::int32_t LBound() const;
  std::int32_t UBound() const;
  std::size_t size() const;  // 0 when unallocated
  // Element by platform index (LBound..UBound); error 9 when out of range.
  Variant& at(std::int32_t index);
  const Variant& at(std::int32_t index) const;
  // ReDim Preserve: keeps the lower bound (or takes `lbound` when unallocated).
  void RedimPreserve(std::int32_t lbound, std::int32_t ubound);
  const std::vector<Variant>& items() const;  // empty when unallocated
  // For filling in place: an unallocated array becomes allocated with no items.
  std::vector<Variant>& items();

  bool operator==(const SafeArray& other) const;

 private:
  VarType elementType_ = VarType::Variant;
  std::int32_t lbound_ = 0;
  std::unique_ptr<std::vector<Variant>> items_;  // null: unallocated
};

// A record of the type library (ErrStruct, FieldRec, ...): a type name and its
// members in declaration order. Copies are deep, as records are values.
class Record {
 public:
  Record();
  explicit Record(std::string typeName);
  Record(std::string typeName, std::vector<std::pair<std::string, Variant>> members);
  Record(const Record& other);
  Record(Record&&) noexcept;
  Record& operator=(const Record& other);
  Record& operator=(Record&&) noexcept;
  ~Record();

  const std::string& typeName() const { return typeName_; }
  // Member by name, without regard to case; error 438 when there is none.
  Variant& operator[](std::string_view name);
  const Variant& operator[](std::string_view name) const;
  bool Has(std::string_view name) const;
  const std::vector<std::pair<std::string, Variant>>& members() const;
  std::vector<std::pair<std::string, Variant>>& members();

  bool operator==(const Record& other) const;

 private:
  std::string typeName_;
  std::unique_ptr<std::vector<std::pair<std::string, Variant>>> members_;
};

struct NullTag {
  bool operator==(const NullTag&) const = default;
};

class Variant {
 public:
  Variant() = default;  // Empty
  static Variant Null() { return Variant(NullTag{}); }
  static Variant Missing() { return Variant(ErrorCode{kParamNotFound}); }

  Variant(NullTag) : v_(NullTag{}) {}
  Variant(bool b) : v_(b) {}
  Variant(std::uint8_t b) : v_(b) {}
  Variant(std::int16_t i) : v_(i) {}
  Variant(std::int32_t l) : v_(l) {}
  Variant(float f) : v_(f) {}
  Variant(double d) : v_(d) {}
  Variant(Currency c) : v_(c) {}
  Variant(Date d) : v_(d) {}
  Variant(ErrorCode e) : v_(e) {}
  Variant(std::string s) : v_(std::move(s)) {}
  Variant(std::string_view s) : v_(std::string(s)) {}
  Variant(const char* s) : v_(std::string(s)) {}
  Variant(ObjectRef o) : v_(std::move(o)) {}
  Variant(SafeArray a) : v_(std::move(a)) {}
  Variant(Record r) : v_(std::move(r)) {}

  // The VarType of the value; arrays report Array (see ArrayType for the element).
  VarType Type() const;
  // An array's element type; error 13 unless the value is an array.
  VarType ArrayType() const;
  bool IsEmpty() const { return v_.index() == 0; }
  bool IsNull() const { return std::holds_alternative<NullTag>(v_); }
  bool IsMissing() const;  // the Error form of an omitted optional argument
  bool IsObject() const { return std::holds_alternative<ObjectRef>(v_); }
  bool IsArray() const { return std::holds_alternative<SafeArray>(v_); }
  bool IsRecord() const { return std::holds_alternative<Record>(v_); }
  bool IsString() const { return std::holds_alternative<std::string>(v_); }
  // True for Byte, Integer, Long, Single, Double, Currency.
  bool IsNumeric() const;

  // Typed access without conversion; each raises error 13 on another subtype.
  bool AsBoolean() const;
  std::int32_t AsLong() const;  // Byte, Integer or Long
  double AsDouble() const;      // Single or Double
  Currency AsCurrency() const;
  Date AsDate() const;
  const std::string& AsString() const;
  const ObjectRef& AsObject() const;  // error 424 unless an object (Nothing is a null ref)
  const SafeArray& AsArray() const;
  SafeArray& AsArray();
  const Record& AsRecord() const;
  Record& AsRecord();
  std::int32_t AsErrorCode() const;

  // Exact equality of subtype and value (used by tests and containers, not the
  // platform's "=" operator, which converts: see Compare in convert.h).
  bool operator==(const Variant& other) const { return v_ == other.v_; }

  using Storage =
      std::variant<std::monostate, NullTag, bool, std::uint8_t, std::int16_t, std::int32_t, float,
                   double, Currency, Date, std::string, ObjectRef, ErrorCode, SafeArray, Record>;
  const Storage& storage() const { return v_; }

 private:
  Storage v_;
};

// The platform's TypeName: "Empty", "Null", "Boolean", "Byte", "Integer",
// "Long", "Single", "Double", "Currency", "Date", "String", "Error", "Nothing"
// for an empty object reference, the object's own type name, the record's type
// name, and arrays as the element type name followed by "()".
std::string TypeName(const Variant& v);

// The platform's IsMissing.
inline bool IsMissing(const Variant& v) {
  return v.IsMissing();
}

}  // namespace zmdb::rt

#include "zmdb/runtime/variant.h"

#include <cmath>
#include <limits>

#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {

namespace {

// The value a fresh element of an array of `type` holds: 0, "", False,
// Nothing, or Empty for Variant elements.
Variant DefaultFor(VarType type) {
  switch (type) {
    case VarType::Integer:
      return Variant(std::int16_t{0});
    case VarType::Long:
      return Variant(std::int32_t{0});
    case VarType::Single:
      return Variant(0.0f);
    case VarType::Double:
      return Variant(0.0);
    case VarType::Currency:
      return Variant(Currency{});
    case VarType::Date:
      return Variant(Date{});
    case VarType::String:
      return Variant(std::string());
    case VarType::Object:
      return Variant(ObjectRef{});
    case VarType::Error:
      return Variant(ErrorCode{});
    case VarType::Boolean:
      return Variant(false);
    case VarType::Byte:
      return Variant(std::uint8_t{0});
    default:
      return Variant();
  }
}

// A blank copy of `v`: the same subtype (and record shape) holding its
// default value; arrays become unallocated arrays of the same element type.
Variant BlankLike(const Variant& v) {
  if (v.IsRecord()) {
    Record r = v.AsRecord();
    for (auto& member : r.members()) member.second = BlankLike(member.second);
    return Variant(std::move(r));
  }
  if (v.IsArray()) return Variant(SafeArray(v.AsArray().elementType()));
  return DefaultFor(v.Type());
}

// The platform's name of a VarType as an element type ("Long", "Variant").
const char* ElementTypeName(VarType t) {
  switch (t) {
    case VarType::Integer:
      return "Integer";
    case VarType::Long:
      return "Long";
    case VarType::Single:
      return "Single";
    case VarType::Double:
      return "Double";
    case VarType::Currency:
      return "Currency";
    case VarType::Date:
      return "Date";
    case VarType::String:
      return "String";
    case VarType::Object:
      return "Object";
    case VarType::Error:
      return "Error";
    case VarType::Boolean:
      return "Boolean";
    case VarType::Byte:
      return "Byte";
    default:
      return "Variant";
  }
}

const std::vector<Variant>& NoItems() {
  static const std::vector<Variant> empty;
  return empty;
}

const std::vector<std::pair<std::string, Variant>>& NoMembers() {
  static const std::vector<std::pair<std::string, Variant>> empty;
  return empty;
}

}  // namespace

// ---------------------------------------------------------------- SafeArray

// An unallocated Variant() array.
SafeArray::SafeArray() = default;

// An unallocated array of `elementType`.
SafeArray::SafeArray(VarType elementType) : elementType_(elementType) {}

// An allocated array holding `items` from index `lbound` on.
SafeArray::SafeArray(VarType elementType, std::int32_t lbound, std::vector<Variant> items)
    : elementType_(elementType),
      lbound_(lbound),
      items_(std::make_unique<std::vector<Variant>>(std::move(items))) {}

// Deep copy: arrays are values.
SafeArray::SafeArray(const SafeArray& other)
    : elementType_(other.elementType_),
      lbound_(other.lbound_),
      items_(other.items_ ? std::make_unique<std::vector<Variant>>(*other.items_) : nullptr) {}

// Move: the source is left unallocated.
SafeArray::SafeArray(SafeArray&&) noexcept = default;

// Deep copy assignment.
SafeArray& SafeArray::operator=(const SafeArray& other) {
  if (this != &other) {
    SafeArray copy(other);
    *this = std::move(copy);
  }
  return *this;
}

// Move assignment: the source is left unallocated.
SafeArray& SafeArray::operator=(SafeArray&&) noexcept = default;

// Releases the items.
SafeArray::~SafeArray() = default;

// True once the array has bounds (even when it holds no items).
bool SafeArray::allocated() const {
  return items_ != nullptr;
}

// Lower bound; error 9 when unallocated.
std::int32_t SafeArray::LBound() const {
  if (!items_) Raise(err::kSubscriptOutOfRange);
  return lbound_;
}

// Upper bound (LBound - 1 for an allocated empty array); error 9 when unallocated.
std::int32_t SafeArray::UBound() const {
  if (!items_) Raise(err::kSubscriptOutOfRange);
  return static_cast<std::int32_t>(static_cast<std::int64_t>(lbound_) +
                                   static_cast<std::int64_t>(items_->size()) - 1);
}

// Number of items; 0 when unallocated.
std::size_t SafeArray::size() const {
  return items_ ? items_->size() : 0;
}

// Element at platform index `index`; error 9 when unallocated or out of range.
Variant& SafeArray::at(std::int32_t index) {
  const auto& self = *this;
  return const_cast<Variant&>(self.at(index));
}

// Element at platform index `index`; error 9 when unallocated or out of range.
const Variant& SafeArray::at(std::int32_t index) const {
  if (!items_) Raise(err::kSubscriptOutOfRange);
  const std::int64_t offset = static_cast<std::int64_t>(index) - lbound_;
  if (offset < 0 || offset >= static_cast<std::int64_t>(items_->size()))
    Raise(err::kSubscriptOutOfRange);
  return (*items_)[static_cast<std::size_t>(offset)];
}

// ReDim Preserve: an allocated array keeps its lower bound and its leading
// items; new items hold the element type's default. `ubound` may be one below
// the lower bound (no items); anything lower raises error 9.
void SafeArray::RedimPreserve(std::int32_t lbound, std::int32_t ubound) {
  const std::int32_t lower = items_ ? lbound_ : lbound;
  const std::int64_t count = static_cast<std::int64_t>(ubound) - lower + 1;
  if (count < 0) Raise(err::kSubscriptOutOfRange);
  if (!items_) {
    items_ = std::make_unique<std::vector<Variant>>();
    lbound_ = lbound;
  }
  const auto n = static_cast<std::size_t>(count);
  if (n <= items_->size()) {
    items_->resize(n);
    return;
  }
  // Record arrays take their shape from an existing item when there is one.
  const Variant blank = (elementType_ == VarType::Record && !items_->empty())
                            ? BlankLike(items_->front())
                            : DefaultFor(elementType_);
  items_->resize(n, blank);
}

// Items in index order; empty when unallocated.
const std::vector<Variant>& SafeArray::items() const {
  return items_ ? *items_ : NoItems();
}

// Items in index order; an unallocated array becomes an allocated empty one
// (lower bound unchanged) so that callers can fill it.
std::vector<Variant>& SafeArray::items() {
  if (!items_) items_ = std::make_unique<std::vector<Variant>>();
  return *items_;
}

// Equal element type, allocation, bounds and items.
bool SafeArray::operator==(const SafeArray& other) const {
  if (elementType_ != other.elementType_) return false;
  if (allocated() != other.allocated()) return false;
  if (!allocated()) return true;
  return lbound_ == other.lbound_ && *items_ == *other.items_;
}

// ------------------------------------------------------------------ Record

// A record with no type name and no members.
Record::Record() : members_(std::make_unique<std::vector<std::pair<std::string, Variant>>>()) {}

// A record of type `typeName` with no members yet.
Record::Record(std::string typeName)
    : typeName_(std::move(typeName)),
      members_(std::make_unique<std::vector<std::pair<std::string, Variant>>>()) {}

// A record of type `typeName` with its members in declaration order.
Record::Record(std::string typeName, std::vector<std::pair<std::string, Variant>> members)
    : typeName_(std::move(typeName)),
      members_(std::make_unique<std::vector<std::pair<std::string, Variant>>>(std::move(members))) {
}

// Deep copy: records are values.
Record::Record(const Record& other)
    : typeName_(other.typeName_),
      members_(std::make_unique<std::vector<std::pair<std::string, Variant>>>(other.members())) {}

// Move: the source is left with no members.
Record::Record(Record&&) noexcept = default;

// Deep copy assignment.
Record& Record::operator=(const Record& other) {
  if (this != &other) {
    Record copy(other);
    *this = std::move(copy);
  }
  return *this;
}

// Move assignment: the source is left with no members.
Record& Record::operator=(Record&&) noexcept = default;

// Releases the members.
Record::~Record() = default;

// Member `name` without regard to case; error 438 when there is none.
Variant& Record::operator[](std::string_view name) {
  const auto& self = *this;
  return const_cast<Variant&>(self[name]);
}

// Member `name` without regard to case; error 438 when there is none.
const Variant& Record::operator[](std::string_view name) const {
  for (const auto& member : members()) {
    if (NameEquals(member.first, name)) return member.second;
  }
  Raise(err::kNotSupported);
}

// True when the record has a member `name` (without regard to case).
bool Record::Has(std::string_view name) const {
  for (const auto& member : members()) {
    if (NameEquals(member.first, name)) return true;
  }
  return false;
}

// Members in declaration order.
const std::vector<std::pair<std::string, Variant>>& Record::members() const {
  return members_ ? *members_ : NoMembers();
}

// Members in declaration order, for filling or changing.
std::vector<std::pair<std::string, Variant>>& Record::members() {
  if (!members_) members_ = std::make_unique<std::vector<std::pair<std::string, Variant>>>();
  return *members_;
}

// Same type name and the same members, names compared exactly.
bool Record::operator==(const Record& other) const {
  return typeName_ == other.typeName_ && members() == other.members();
}

// ----------------------------------------------------------------- Variant

// The VarType of the held alternative, in Storage order.
VarType Variant::Type() const {
  switch (v_.index()) {
    case 0:
      return VarType::Empty;
    case 1:
      return VarType::Null;
    case 2:
      return VarType::Boolean;
    case 3:
      return VarType::Byte;
    case 4:
      return VarType::Integer;
    case 5:
      return VarType::Long;
    case 6:
      return VarType::Single;
    case 7:
      return VarType::Double;
    case 8:
      return VarType::Currency;
    case 9:
      return VarType::Date;
    case 10:
      return VarType::String;
    case 11:
      return VarType::Object;
    case 12:
      return VarType::Error;
    case 13:
      return VarType::Array;
    default:
      return VarType::Record;
  }
}

// An array's element type; error 13 for anything else.
VarType Variant::ArrayType() const {
  return AsArray().elementType();
}

// The Error subtype with the "parameter not found" code.
bool Variant::IsMissing() const {
  const auto* e = std::get_if<ErrorCode>(&v_);
  return e != nullptr && e->scode == kParamNotFound;
}

// Byte, Integer, Long, Single, Double or Currency.
bool Variant::IsNumeric() const {
  switch (Type()) {
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
    case VarType::Single:
    case VarType::Double:
    case VarType::Currency:
      return true;
    default:
      return false;
  }
}

// The Boolean value; error 13 otherwise.
bool Variant::AsBoolean() const {
  if (const auto* b = std::get_if<bool>(&v_)) return *b;
  Raise(err::kTypeMismatch);
}

// A Byte, Integer or Long as a 32-bit value; error 13 otherwise.
std::int32_t Variant::AsLong() const {
  if (const auto* b = std::get_if<std::uint8_t>(&v_)) return *b;
  if (const auto* i = std::get_if<std::int16_t>(&v_)) return *i;
  if (const auto* l = std::get_if<std::int32_t>(&v_)) return *l;
  Raise(err::kTypeMismatch);
}

// A Single or Double as a double; error 13 otherwise.
double Variant::AsDouble() const {
  if (const auto* f = std::get_if<float>(&v_)) return static_cast<double>(*f);
  if (const auto* d = std::get_if<double>(&v_)) return *d;
  Raise(err::kTypeMismatch);
}

// The Currency value; error 13 otherwise.
Currency Variant::AsCurrency() const {
  if (const auto* c = std::get_if<Currency>(&v_)) return *c;
  Raise(err::kTypeMismatch);
}

// The Date value; error 13 otherwise.
Date Variant::AsDate() const {
  if (const auto* d = std::get_if<Date>(&v_)) return *d;
  Raise(err::kTypeMismatch);
}

// The String value; error 13 otherwise.
const std::string& Variant::AsString() const {
  if (const auto* s = std::get_if<std::string>(&v_)) return *s;
  Raise(err::kTypeMismatch);
}

// The object reference (possibly Nothing); error 424 when not an object.
const ObjectRef& Variant::AsObject() const {
  if (const auto* o = std::get_if<ObjectRef>(&v_)) return *o;
  Raise(err::kObjectRequired);
}

// The array; error 13 otherwise.
const SafeArray& Variant::AsArray() const {
  if (const auto* a = std::get_if<SafeArray>(&v_)) return *a;
  Raise(err::kTypeMismatch);
}

// The array, for changing in place; error 13 otherwise.
SafeArray& Variant::AsArray() {
  if (auto* a = std::get_if<SafeArray>(&v_)) return *a;
  Raise(err::kTypeMismatch);
}

// The record; error 13 otherwise.
const Record& Variant::AsRecord() const {
  if (const auto* r = std::get_if<Record>(&v_)) return *r;
  Raise(err::kTypeMismatch);
}

// The record, for changing in place; error 13 otherwise.
Record& Variant::AsRecord() {
  if (auto* r = std::get_if<Record>(&v_)) return *r;
  Raise(err::kTypeMismatch);
}

// The Error subtype's code; error 13 otherwise.
std::int32_t Variant::AsErrorCode() const {
  if (const auto* e = std::get_if<ErrorCode>(&v_)) return e->scode;
  Raise(err::kTypeMismatch);
}

// The platform's TypeName of a value (see the header for the names).
std::string TypeName(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
      return "Empty";
    case VarType::Null:
      return "Null";
    case VarType::Object: {
      const ObjectRef& o = v.AsObject();
      return o ? o->TypeName() : "Nothing";
    }
    case VarType::Record:
      return v.AsRecord().typeName();
    case VarType::Array: {
      const SafeArray& a = v.AsArray();
      // A record array is named after its records when it holds one.
      if (a.elementType() == VarType::Record && !a.items().empty() && a.items().front().IsRecord())
        return a.items().front().AsRecord().typeName() + "()";
      return std::string(ElementTypeName(a.elementType())) + "()";
    }
    default:
      return ElementTypeName(v.Type());
  }
}

// ---------------------------------------------------------------- Currency

// v times 10,000 rounded half to even; error 6 outside the Currency range or
// for a value that is not a number.
Currency Currency::FromDouble(double v) {
  const double scaled = v * 10000.0;
  if (!std::isfinite(scaled)) Raise(err::kOverflow);
  double whole = std::floor(scaled);
  const double diff = scaled - whole;
  if (diff > 0.5 || (diff == 0.5 && std::fmod(whole, 2.0) != 0.0)) whole += 1.0;
  // 2^63 is exactly representable; the valid range is [-2^63, 2^63).
  constexpr double kLimit = 9223372036854775808.0;
  if (whole >= kLimit || whole < -kLimit) Raise(err::kOverflow);
  return Currency{static_cast<std::int64_t>(whole)};
}

}  // namespace zmdb::rt

// The parts of the Paradox writer that are pure: the field a column becomes,
// the byte encodings of values, and the table header.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/formats/format.h"
#include "zmdb/dal/formats/paradox.h"

namespace zmdb::dal::formats::paradox {

// Field type codes of the table header.
inline constexpr std::uint8_t kAlpha = 0x01;
inline constexpr std::uint8_t kDate = 0x02;
inline constexpr std::uint8_t kShort = 0x03;
inline constexpr std::uint8_t kMoney = 0x05;
inline constexpr std::uint8_t kNumber = 0x06;
inline constexpr std::uint8_t kMemo = 0x0C;
inline constexpr std::uint8_t kBinary = 0x0D;

// Bytes of a memo or binary value kept in the record itself; the ten bytes
// after them locate the value in the .mb file.
inline constexpr int kLeader = 10;
inline constexpr int kMbBlock = 4096;
inline constexpr int kMaxNameBytes = 25;

// How a value is turned into the field's bytes.
enum class Kind { Alpha, Short, Number, Money, Date, Boolean, Time, Memo, Binary };

struct Field {
  std::string name;  // in the table's code page
  Kind kind = Kind::Alpha;
  std::uint8_t type = kAlpha;
  std::uint8_t size = 0;  // bytes in the record
};

// The field a column becomes in a table of `version` (names are set apart,
// see FieldNames). Raises for a binary column in a 3.x table.
Field PlanField(const Column& column, ParadoxVersion version, int codePage);

// Field names in the code page, cut to what the format holds and made unique
// without regard to case; an empty name becomes "Field<n>".
std::vector<std::string> FieldNames(const std::vector<Column>& columns, int codePage);

// `utf8` in the code page, cut at a character boundary to at most `limit`
// bytes. Raises naming `what` for a character the code page lacks.
std::string FitText(std::string_view utf8, int codePage, std::size_t limit, std::string_view what);

// Value encodings: big-endian with the sign bit flipped so that bytes sort as
// numbers do; all zero bytes are Null.
std::string EncodeShort(std::int16_t value);
std::string EncodeLong(std::int32_t value);
std::string EncodeDouble(double value);
// The day number of a date serial (1899-12-30 is 0): 1 January of year 1 is 1.
std::int32_t DayNumber(double serial);

struct Header {
  ParadoxVersion version = ParadoxVersion::v4;
  std::string tableName;  // in the code page; at most 78 bytes are kept
  std::vector<Field> fields;
  int codePage = 936;
  int blockKB = 4;
  std::uint16_t recordSize = 0;
  std::int32_t records = 0;
  std::uint16_t blocks = 0;
};

std::uint16_t RecordSize(const std::vector<Field>& fields);
// The header's length on disk, a multiple of 2048.
std::uint16_t HeaderSize(const Header& header);
// The header, exactly HeaderSize(header) bytes.
std::string BuildHeader(const Header& header);

}  // namespace zmdb::dal::formats::paradox

// The pure parts of the dBase and FoxPro writer: version and language-driver
// bytes, the field each column maps to, field names, and value texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/formats/dbase.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal::formats::dbf {

// What a field holds, which decides how a value is written into it.
enum class Kind { Text, Integer, Fixed, Float, Boolean, Date, Time, Memo, BinaryMemo };

struct Field {
  std::string name;  // bytes in the table's code page, at most 10
  char type = 'C';   // C N F L D M
  int length = 0;
  int decimals = 0;
  Kind kind = Kind::Text;
};

// The language-driver id that declares `codePage`; 0 when there is none.
std::uint8_t LanguageDriver(int codePage);
// The first byte of the table.
std::uint8_t VersionByte(DbfFlavour flavour, bool hasMemo);
// The field (without its name) that a column of the result maps to.
Field MapColumn(const Column& column, DbfFlavour flavour, int codePage);
// Unique field names for the column names, in the code page (see dbase.h).
std::vector<std::string> FieldNames(const std::vector<std::string>& columnNames, int codePage);

// The text of a number with `decimals` digits after the point: exact for
// Currency and for decimal text, rounded half away from zero; "" when it does
// not fit in `width`. `value` is any numeric Variant or numeric text.
std::string FixedText(const rt::Variant& value, int width, int decimals);
// As FixedText, but a double too wide for its decimals loses decimals, then
// goes to exponent form, so that any finite double fits a width of 20.
std::string FloatText(const rt::Variant& value, int width, int decimals);

}  // namespace zmdb::dal::formats::dbf

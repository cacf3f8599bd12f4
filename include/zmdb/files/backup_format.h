// The recordset text backup file, as text: its header lines, the text of each
// value in a data line, the cutting of lines at a separator, and the reading
// of files written in code page 936.
//
// The file is UTF-8 with CR LF line ends. With its header it begins with a
// note line (";" and the note, ";Please add note" without one), then the
// field names, the ADO type codes and the defined sizes, each line ";" and
// the entries joined by the separator; one data line per record follows.
// There is no quoting: a value holding the separator or a line break does not
// read back as it was written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/text_encoding.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::files {

// The encodings a restore reads (runtime/text_encoding.h).
using rt::EncodingNamed;
using rt::GbkToUtf8;
using rt::TextEncoding;

// The note line: ";" and the note, or ";Please add note" when it is empty.
std::string NoteLine(std::string_view note);
// ";" and the entries joined by the separator (no separator after the last).
std::string HeaderLine(const std::vector<std::string>& entries, std::string_view separator);
// A header line read back: the line without its first character when that is ";".
std::string_view WithoutHeaderMark(std::string_view line);

// `text` cut at every occurrence of `separator` (compared byte for byte, as
// a whole, however long). An empty separator leaves the text whole.
std::vector<std::string_view> SplitAt(std::string_view text, std::string_view separator);
// The same into `parts` (cleared first), whose storage a caller reuses line
// after line.
void SplitAt(std::string_view text, std::string_view separator,
             std::vector<std::string_view>& parts);

// Appends the text of one value of a field of ADO type `adoType`: Null is
// empty; an adDate field (type 7 exactly) goes through `dateFormat` when that
// is not empty; everything else takes the run time's fixed text form, which
// the restore's conversions read back.
void AppendValueText(std::string& line, const rt::Variant& value, std::int32_t adoType,
                     std::string_view dateFormat);

// The defined size a length entry gives: none (0) for "" and "0", else the
// entry as a number (error 13 when it is not one).
std::int32_t DefinedSizeOf(std::string_view entry);

}  // namespace zmdb::files

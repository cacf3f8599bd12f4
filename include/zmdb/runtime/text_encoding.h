// Text in the encodings a caller may name for the files the library reads:
// UTF-8, and code page 936 (Simplified Chinese) turned into UTF-8; and
// UTF-8 turned into the code page a written file declares.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zmdb::rt {

// How the text of a file to read is encoded.
enum class TextEncoding { Utf8, Gbk };

// The encoding a caller names, without regard to case: "" (the default),
// "UTF-8", "UTF8" or "65001" for UTF-8; "GBK", "CP936", "936" or "GB2312"
// for code page 936. Any other name is error 5.
TextEncoding EncodingNamed(std::string_view name);

// Text in code page 936 as UTF-8. A byte that begins no character of the code
// page is kept as it is, so undecodable text passes through as the run time's
// stray bytes rather than failing here.
std::string GbkToUtf8(std::string_view text);

// UTF-8 text in Windows code page `codePage` (936, 1252, 437, 65001 ...), or
// nothing when the text holds a character the code page cannot hold. A code
// page the system does not know is error 5.
std::optional<std::string> Utf8ToCodePage(std::string_view text, int codePage);

}  // namespace zmdb::rt

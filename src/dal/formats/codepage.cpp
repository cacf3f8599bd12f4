// Text in the code page a foreign file declares.
#include <string>

#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text_encoding.h"

namespace zmdb::dal::formats {

std::string EncodeText(std::string_view utf8, int codePage, std::string_view what) {
  bool ascii = true;
  for (const char c : utf8) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      ascii = false;
      break;
    }
  }
  // Every code page a writer declares holds ASCII as it is.
  if (ascii) return std::string(utf8);
  std::optional<std::string> out = rt::Utf8ToCodePage(utf8, codePage);
  if (!out) {
    rt::Raise(rt::err::kInvalidProcCall, "The text of " + std::string(what) +
                                             " cannot be written in code page " +
                                             std::to_string(codePage));
  }
  return std::move(*out);
}

}  // namespace zmdb::dal::formats

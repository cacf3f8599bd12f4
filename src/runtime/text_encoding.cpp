// Text in the encodings a caller may name, through iconv.
#include "zmdb/runtime/text_encoding.h"

#include <iconv.h>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <string>

#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text.h"

namespace zmdb::rt {

namespace {

// One iconv conversion, opened once and reset before each text.
class Converter {
 public:
  Converter(const char* to, const char* from) : cd_(iconv_open(to, from)) {}
  ~Converter() {
    if (ok()) iconv_close(cd_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }

  // `text` converted into `out`. A byte that begins no character (or a
  // character cut off at the end) is kept as it is when `lenient`; otherwise
  // the answer is false.
  bool Convert(std::string_view text, bool lenient, std::string& out) {
    out.clear();
    // A character takes at most two bytes in a double-byte code page and
    // three in UTF-8 for the characters both hold.
    std::string chunk(text.size() * 2 + 4, '\0');
    char* in = const_cast<char*>(text.data());
    std::size_t inLeft = text.size();
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    while (inLeft > 0) {
      char* o = chunk.data();
      std::size_t oLeft = chunk.size();
      const std::size_t r = iconv(cd_, &in, &inLeft, &o, &oLeft);
      out.append(chunk.data(), static_cast<std::size_t>(o - chunk.data()));
      if (r != static_cast<std::size_t>(-1)) break;
      if (errno == E2BIG) continue;
      if (!lenient) return false;
      out.push_back(*in);
      ++in;
      --inLeft;
      iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    }
    return true;
  }

 private:
  iconv_t cd_;
};

// The iconv name of a Windows code page number.
std::string IconvName(int codePage) {
  if (codePage == 65001) return "UTF-8";
  if (codePage == 936) return "GBK";
  return "CP" + std::to_string(codePage);
}

bool IsNamed(std::string_view name, std::initializer_list<std::string_view> names) {
  for (std::string_view n : names)
    if (AsciiUpper(name) == n) return true;
  return false;
}

}  // namespace

TextEncoding EncodingNamed(std::string_view name) {
  if (IsNamed(name, {"", "UTF-8", "UTF8", "65001"})) return TextEncoding::Utf8;
  if (IsNamed(name, {"GBK", "CP936", "936", "GB2312"})) return TextEncoding::Gbk;
  Raise(err::kInvalidProcCall,
        "Unknown text encoding '" + std::string(name) + "': use UTF-8 or GBK");
}

std::string GbkToUtf8(std::string_view text) {
  thread_local Converter decoder("UTF-8", "GBK");
  if (!decoder.ok()) Raise(err::kInvalidProcCall, "Code page 936 is not available on this system");
  std::string out;
  decoder.Convert(text, true, out);
  return out;
}

std::optional<std::string> Utf8ToCodePage(std::string_view text, int codePage) {
  if (codePage == 65001) return std::string(text);
  thread_local int openFor = 0;
  thread_local std::unique_ptr<Converter> encoder;
  if (!encoder || openFor != codePage) {
    encoder = std::make_unique<Converter>(IconvName(codePage).c_str(), "UTF-8");
    openFor = codePage;
  }
  if (!encoder->ok()) {
    Raise(err::kInvalidProcCall, "Code page " + std::to_string(codePage) + " is not known");
  }
  std::string out;
  if (!encoder->Convert(text, false, out)) return std::nullopt;
  return out;
}

}  // namespace zmdb::rt

// Text in the encodings a caller may name, through iconv.
#include "zmdb/runtime/text_encoding.h"

#include <iconv.h>

#include <cerrno>
#include <initializer_list>

#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text.h"

namespace zmdb::rt {

namespace {

// One converter from code page 936 to UTF-8 per thread, opened on first use.
class GbkDecoder {
 public:
  GbkDecoder() {
    cd_ = iconv_open("UTF-8", "CP936");
    if (cd_ == reinterpret_cast<iconv_t>(-1)) cd_ = iconv_open("UTF-8", "GBK");
    if (cd_ == reinterpret_cast<iconv_t>(-1))
      Raise(err::kInvalidProcCall, "Code page 936 is not available on this system");
  }
  ~GbkDecoder() { iconv_close(cd_); }
  GbkDecoder(const GbkDecoder&) = delete;
  GbkDecoder& operator=(const GbkDecoder&) = delete;

  std::string Decode(std::string_view text) {
    std::string out;
    // A character of the code page takes at most two bytes, and three in UTF-8.
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
      // A byte that begins no character (or a character cut off at the end):
      // keep it as it is and go on after it.
      out.push_back(*in);
      ++in;
      --inLeft;
      iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    }
    return out;
  }

 private:
  iconv_t cd_;
};

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
  thread_local GbkDecoder decoder;
  return decoder.Decode(text);
}

}  // namespace zmdb::rt

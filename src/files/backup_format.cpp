// The recordset text backup file, as text.
#include "zmdb/files/backup_format.h"

#include <iconv.h>

#include <cerrno>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/format.h"

namespace zmdb::files {

namespace {

constexpr std::int32_t kAdDate = 7;

// One converter from code page 936 to UTF-8 per thread, opened on first use.
class GbkDecoder {
 public:
  GbkDecoder() {
    cd_ = iconv_open("UTF-8", "CP936");
    if (cd_ == reinterpret_cast<iconv_t>(-1)) cd_ = iconv_open("UTF-8", "GBK");
    if (cd_ == reinterpret_cast<iconv_t>(-1))
      rt::Raise(rt::err::kInvalidProcCall, "Code page 936 is not available on this system");
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
    if (rt::AsciiUpper(name) == n) return true;
  return false;
}

}  // namespace

TextEncoding EncodingNamed(std::string_view name) {
  if (IsNamed(name, {"", "UTF-8", "UTF8", "65001"})) return TextEncoding::Utf8;
  if (IsNamed(name, {"GBK", "CP936", "936", "GB2312"})) return TextEncoding::Gbk;
  rt::Raise(rt::err::kInvalidProcCall,
            "Unknown text encoding '" + std::string(name) + "': use UTF-8 or GBK");
}

std::string GbkToUtf8(std::string_view text) {
  thread_local GbkDecoder decoder;
  return decoder.Decode(text);
}

std::string NoteLine(std::string_view note) {
  return ";" + std::string(note.empty() ? std::string_view("Please add note") : note);
}

std::string HeaderLine(const std::vector<std::string>& entries, std::string_view separator) {
  std::string line = ";";
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0) line += separator;
    line += entries[i];
  }
  return line;
}

std::string_view WithoutHeaderMark(std::string_view line) {
  if (!line.empty() && line.front() == ';') line.remove_prefix(1);
  return line;
}

std::vector<std::string_view> SplitAt(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> parts;
  SplitAt(text, separator, parts);
  return parts;
}

void SplitAt(std::string_view text, std::string_view separator,
             std::vector<std::string_view>& parts) {
  parts.clear();
  if (separator.empty()) {
    parts.push_back(text);
    return;
  }
  std::size_t from = 0;
  for (std::size_t at = text.find(separator); at != std::string_view::npos;
       at = text.find(separator, from)) {
    parts.push_back(text.substr(from, at - from));
    from = at + separator.size();
  }
  parts.push_back(text.substr(from));
}

void AppendValueText(std::string& line, const rt::Variant& value, std::int32_t adoType,
                     std::string_view dateFormat) {
  if (value.IsNull()) return;
  if (adoType == kAdDate && !dateFormat.empty()) {
    line += rt::Format(value, dateFormat);
  } else if (value.IsString()) {
    line += value.AsString();
  } else {
    line += rt::TextOf(value);
  }
}

std::int32_t DefinedSizeOf(std::string_view entry) {
  if (entry.empty() || entry == "0") return 0;
  return rt::CLng(rt::Variant(std::string(entry)));
}

}  // namespace zmdb::files

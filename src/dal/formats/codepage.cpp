// Text in the code page a foreign file declares, through iconv.
#include <iconv.h>

#include <cerrno>
#include <memory>
#include <string>

#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::formats {
namespace {

// The iconv name of a Windows code page number.
std::string IconvName(int codePage) {
  if (codePage == 65001) return "UTF-8";
  if (codePage == 936) return "GBK";
  return "CP" + std::to_string(codePage);
}

// One conversion descriptor per thread and code page: opening one costs
// more than converting a short value.
class Converter {
 public:
  explicit Converter(int codePage) : codePage_(codePage) {
    cd_ = iconv_open(IconvName(codePage).c_str(), "UTF-8");
  }
  ~Converter() {
    if (ok()) iconv_close(cd_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
  int codePage() const { return codePage_; }

  // False when the text holds a character the code page lacks.
  bool Convert(std::string_view in, std::string& out) {
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    out.assign(in.size() * 2 + 8, '\0');
    char* src = const_cast<char*>(in.data());
    std::size_t srcLeft = in.size();
    char* dst = out.data();
    std::size_t dstLeft = out.size();
    while (srcLeft > 0) {
      if (iconv(cd_, &src, &srcLeft, &dst, &dstLeft) != static_cast<std::size_t>(-1)) break;
      if (errno != E2BIG) return false;
      const std::size_t used = out.size() - dstLeft;
      out.resize(out.size() * 2);
      dst = out.data() + used;
      dstLeft = out.size() - used;
    }
    out.resize(out.size() - dstLeft);
    return true;
  }

 private:
  int codePage_;
  iconv_t cd_;
};

}  // namespace

std::string EncodeText(std::string_view utf8, int codePage, std::string_view what) {
  if (codePage == 65001) return std::string(utf8);
  bool ascii = true;
  for (const char c : utf8) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      ascii = false;
      break;
    }
  }
  if (ascii) return std::string(utf8);
  thread_local std::unique_ptr<Converter> converter;
  if (!converter || converter->codePage() != codePage)
    converter = std::make_unique<Converter>(codePage);
  if (!converter->ok()) {
    rt::Raise(rt::err::kInvalidProcCall, "Code page " + std::to_string(codePage) + " is not known");
  }
  std::string out;
  if (!converter->Convert(utf8, out)) {
    rt::Raise(rt::err::kInvalidProcCall, "The text of " + std::string(what) +
                                             " cannot be written in code page " +
                                             std::to_string(codePage));
  }
  return out;
}

}  // namespace zmdb::dal::formats

// dBase III, dBase IV and FoxPro 2.x tables: a .dbf file of fixed-width
// records written as the rows come, its record count patched at the end, and
// a memo file of blocks beside it for long text.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "dbase_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::formats {
namespace dbf {
namespace {

constexpr int kMaxCharWidth = 254;

bool IsFoxPro(DbfFlavour f) {
  return f == DbfFlavour::FoxPro20 || f == DbfFlavour::FoxPro25 || f == DbfFlavour::FoxPro26;
}

// The widest N field the format takes.
int MaxNumericWidth(DbfFlavour f) {
  return f == DbfFlavour::dBaseIII ? 19 : 20;
}

bool IsDoubleByteCodePage(int codePage) {
  return codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950;
}

Field Make(char type, int length, int decimals, Kind kind) {
  Field f;
  f.type = type;
  f.length = length;
  f.decimals = decimals;
  f.kind = kind;
  return f;
}

// Rounds the decimal digits `intPart`.`fracPart` to `decimals` places, half
// away from zero, and writes it with its sign.
std::string RoundDecimal(bool negative, std::string intPart, std::string fracPart, int decimals) {
  const auto keep = static_cast<std::size_t>(decimals);
  std::string digits = intPart + fracPart.substr(0, std::min(keep, fracPart.size()));
  digits.append(keep - std::min(keep, fracPart.size()), '0');
  if (fracPart.size() > keep && fracPart[keep] >= '5') {
    std::size_t i = digits.size();
    while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
    if (i == 0) {
      digits.insert(digits.begin(), '1');
    } else {
      ++digits[i - 1];
    }
  }
  std::string whole = digits.substr(0, digits.size() - keep);
  const std::size_t nonZero = whole.find_first_not_of('0');
  whole = nonZero == std::string::npos ? std::string("0") : whole.substr(nonZero);
  std::string text = whole;
  if (keep > 0) text += "." + digits.substr(digits.size() - keep);
  if (negative && digits.find_first_not_of('0') != std::string::npos) text.insert(0, "-");
  return text;
}

// Splits plain decimal text ("-12.50", "+3", ".5") into sign and digits;
// false for anything else (exponents, blanks inside, several points).
bool SplitDecimalText(std::string_view text, bool& negative, std::string& intPart,
                      std::string& fracPart) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view frac = point == std::string_view::npos ? "" : text.substr(point + 1);
  const auto allDigits = [](std::string_view s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
  };
  if (whole.empty() && frac.empty()) return false;
  if (!allDigits(whole) || !allDigits(frac)) return false;
  intPart = whole.empty() ? std::string("0") : std::string(whole);
  fracPart = std::string(frac);
  return true;
}

std::string Printf(const char* format, int precision, double value) {
  char buffer[512];
  std::snprintf(buffer, sizeof buffer, format, precision, value);
  return buffer;
}

}  // namespace

std::uint8_t LanguageDriver(int codePage) {
  struct Driver {
    int codePage;
    std::uint8_t id;
  };
  static constexpr Driver kDrivers[] = {
      {437, 0x01},  {850, 0x02},  {1252, 0x03}, {852, 0x64},  {866, 0x65},
      {865, 0x66},  {861, 0x67},  {737, 0x6A},  {857, 0x6B},  {950, 0x78},
      {949, 0x79},  {936, 0x7A},  {932, 0x7B},  {874, 0x7C},  {1255, 0x7D},
      {1256, 0x7E}, {1250, 0xC8}, {1251, 0xC9}, {1254, 0xCA}, {1253, 0xCB},
  };
  for (const auto& d : kDrivers) {
    if (d.codePage == codePage) return d.id;
  }
  return 0;
}

std::uint8_t VersionByte(DbfFlavour flavour, bool hasMemo) {
  if (!hasMemo) return 0x03;
  if (flavour == DbfFlavour::dBaseIII) return 0x83;
  if (flavour == DbfFlavour::dBaseIV) return 0x8B;
  return 0xF5;
}

Field MapColumn(const Column& column, DbfFlavour flavour, int codePage) {
  const int maxN = MaxNumericWidth(flavour);
  switch (column.type) {
    case 129:
    case 130:
    case 200:
    case 202: {
      if (column.definedSize <= 0 || column.definedSize > kMaxCharWidth)
        return Make('M', 10, 0, Kind::Memo);
      const int perChar = IsDoubleByteCodePage(codePage) ? 2 : 1;
      return Make('C', std::min(kMaxCharWidth, column.definedSize * perChar), 0, Kind::Text);
    }
    case 201:
    case 203:
      return Make('M', 10, 0, Kind::Memo);
    case 16:  // tinyint
      return Make('N', 4, 0, Kind::Integer);
    case 17:  // unsigned tinyint
      return Make('N', 3, 0, Kind::Integer);
    case 2:  // smallint
      return Make('N', 6, 0, Kind::Integer);
    case 18:  // unsigned smallint
      return Make('N', 5, 0, Kind::Integer);
    case 3:  // integer
      return Make('N', 11, 0, Kind::Integer);
    case 19:  // unsigned integer
      return Make('N', 10, 0, Kind::Integer);
    case 20:  // bigint
    case 21:
      return Make('N', maxN, 0, Kind::Integer);
    case 6:  // currency
      return Make('N', maxN, 4, Kind::Fixed);
    case 14:
    case 131: {
      const int precision = column.precision > 0 ? column.precision : 18;
      const int scale = std::clamp(column.scale, 0, 15);
      const int width = std::min(maxN, precision + (scale > 0 ? 2 : 1));
      return Make('N', width, std::min(scale, std::max(0, width - 2)), Kind::Fixed);
    }
    case 4:
    case 5:
      if (flavour == DbfFlavour::dBaseIII) return Make('N', maxN, 8, Kind::Float);
      return Make('F', 20, 8, Kind::Float);
    case 11:
      return Make('L', 1, 0, Kind::Boolean);
    case 7:
    case 133:
    case 135:
      return Make('D', 8, 0, Kind::Date);
    case 134:
      return Make('C', 8, 0, Kind::Time);
    case 72:
      return Make('C', 38, 0, Kind::Text);
    case 128:
    case 204:
    case 205:
      return Make('M', 10, 0, Kind::BinaryMemo);
    default:
      return Make('C', kMaxCharWidth, 0, Kind::Text);
  }
}

std::vector<std::string> FieldNames(const std::vector<std::string>& columnNames, int codePage) {
  constexpr std::size_t kMaxName = 10;
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const auto& column : columnNames) {
    // The name as characters in the code page, so that cuts never split one.
    std::vector<std::string> chars;
    for (std::size_t i = 0; i < column.size();) {
      const auto lead = static_cast<unsigned char>(column[i]);
      std::size_t len = lead < 0x80    ? 1
                        : lead >= 0xF0 ? 4
                        : lead >= 0xE0 ? 3
                        : lead >= 0xC0 ? 2
                                       : 1;
      len = std::min(len, column.size() - i);
      const std::string utf8 = column.substr(i, len);
      i += len;
      if (lead < 0x80) {
        const bool word = std::isalnum(lead) != 0 || lead == '_';
        chars.emplace_back(1, word ? static_cast<char>(std::toupper(lead)) : '_');
        continue;
      }
      try {
        chars.push_back(EncodeText(utf8, codePage, "field name"));
      } catch (const rt::PlatformError&) {
        chars.emplace_back("_");
      }
    }
    if (chars.empty()) chars.emplace_back("FIELD");
    if (chars.front().size() == 1 &&
        (std::isdigit(static_cast<unsigned char>(chars.front()[0])) || chars.front()[0] == '_'))
      chars.insert(chars.begin(), "F");
    const auto cut = [&chars](std::size_t limit) {
      std::string out;
      for (const auto& c : chars) {
        if (out.size() + c.size() > limit) break;
        out += c;
      }
      return out;
    };
    std::string name = cut(kMaxName);
    for (int n = 2; taken.count(name) != 0; ++n) {
      const std::string suffix = "_" + std::to_string(n);
      name = cut(kMaxName - suffix.size()) + suffix;
    }
    taken.insert(name);
    names.push_back(name);
  }
  return names;
}

std::string FixedText(const rt::Variant& value, int width, int decimals) {
  std::string text;
  bool negative = false;
  std::string intPart, fracPart;
  if (value.Type() == rt::VarType::Currency) {
    const std::int64_t scaled = value.AsCurrency().scaled;
    negative = scaled < 0;
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(scaled) : static_cast<std::uint64_t>(scaled);
    const std::string frac = std::to_string(magnitude % 10000);
    text = RoundDecimal(negative, std::to_string(magnitude / 10000),
                        std::string(4 - frac.size(), '0') + frac, decimals);
  } else if (value.IsString() && SplitDecimalText(value.AsString(), negative, intPart, fracPart)) {
    text = RoundDecimal(negative, intPart, fracPart, decimals);
  } else if (value.Type() == rt::VarType::Byte || value.Type() == rt::VarType::Integer ||
             value.Type() == rt::VarType::Long) {
    const std::int32_t v = rt::CLng(value);
    text =
        RoundDecimal(v < 0, std::to_string(std::abs(static_cast<std::int64_t>(v))), "", decimals);
  } else {
    const double d = rt::CDbl(value);
    if (!std::isfinite(d)) return {};
    text = Printf("%.*f", decimals, d);
    if (text.find_first_not_of("-0.") == std::string::npos && text[0] == '-') text.erase(0, 1);
  }
  return static_cast<int>(text.size()) <= width ? text : std::string();
}

std::string FloatText(const rt::Variant& value, int width, int decimals) {
  const double d = rt::CDbl(value);
  if (!std::isfinite(d)) return {};
  for (int places = decimals; places >= 0; --places) {
    std::string text = FixedText(rt::Variant(d), width, places);
    if (!text.empty()) return text;
  }
  for (int digits = width - 7; digits >= 0; --digits) {
    std::string text = Printf("%.*E", digits, d);
    if (static_cast<int>(text.size()) <= width) return text;
  }
  return {};
}

}  // namespace dbf

namespace {

using dbf::Field;
using dbf::Kind;

[[noreturn]] void RaiseWrite(const std::string& path) {
  rt::Raise(rt::err::kPathFileAccess, "Cannot write the file " + path);
}

// A file written from the start, with the few bytes that hold counts
// rewritten at the end.
class OutFile {
 public:
  OutFile() = default;
  OutFile(const OutFile&) = delete;
  OutFile& operator=(const OutFile&) = delete;
  ~OutFile() { Close(); }

  void Open(const std::string& path) {
    path_ = path;
    const auto folder = std::filesystem::path(path).parent_path();
    std::error_code ec;
    if (!folder.empty() && !std::filesystem::is_directory(folder, ec))
      rt::Raise(rt::err::kPathNotFound, "The folder of " + path + " does not exist");
    file_ = std::fopen(path.c_str(), "wb");
    if (file_ == nullptr) RaiseWrite(path);
    std::setvbuf(file_, nullptr, _IOFBF, 1 << 16);
  }
  bool open() const { return file_ != nullptr; }
  const std::string& path() const { return path_; }

  void Write(std::string_view bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
      RaiseWrite(path_);
  }
  void WriteAt(long offset, std::string_view bytes) {
    if (std::fseek(file_, offset, SEEK_SET) != 0) RaiseWrite(path_);
    Write(bytes);
  }
  // Closes the file, raising when what was buffered cannot be written.
  void Finish() {
    std::FILE* f = file_;
    file_ = nullptr;
    if (f != nullptr && std::fclose(f) != 0) RaiseWrite(path_);
  }
  void Close() noexcept {
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
  }
  // Closes and deletes the file (a table left unfinished).
  void Remove() noexcept {
    Close();
    if (!path_.empty()) std::remove(path_.c_str());
  }

 private:
  std::string path_;
  std::FILE* file_ = nullptr;
};

void PutLE(std::string& out, std::size_t at, std::uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i)
    out[at + static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
}
void PutBE(std::string& out, std::size_t at, std::uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i)
    out[at + static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * (bytes - 1 - i)));
}

// The memo file: a 512-byte header, then each memo in whole blocks, found by
// the number of its first block.
class MemoFile {
 public:
  MemoFile(DbfFlavour flavour, std::string tableName)
      : flavour_(flavour),
        blockSize_(dbf::IsFoxPro(flavour) ? 64u : 512u),
        nextBlock_(512 / blockSize_),
        tableName_(std::move(tableName)) {}

  void Open(const std::string& path) {
    file_.Open(path);
    file_.Write(std::string(512, '\0'));
  }

  // Appends one memo; returns its block number.
  std::uint32_t Add(std::string_view bytes) {
    std::string entry;
    if (flavour_ == DbfFlavour::dBaseIII) {
      entry.append(bytes);
      entry.append("\x1A\x1A");
    } else if (flavour_ == DbfFlavour::dBaseIV) {
      entry.assign(8, '\0');
      entry[0] = '\xFF';
      entry[1] = '\xFF';
      entry[2] = '\x08';
      PutLE(entry, 4, static_cast<std::uint32_t>(bytes.size() + 8), 4);
      entry.append(bytes);
      // Some readers take the length for the text's own and read 8 bytes on:
      // they must find padding, never the next memo's header.
      entry.append(8, '\0');
    } else {
      entry.assign(8, '\0');
      PutBE(entry, 0, 1, 4);  // 1: text
      PutBE(entry, 4, static_cast<std::uint32_t>(bytes.size()), 4);
      entry.append(bytes);
    }
    const std::size_t blocks = (entry.size() + blockSize_ - 1) / blockSize_;
    entry.resize(blocks * blockSize_, '\0');
    if (blocks > 0xFFFFFFFFu - nextBlock_)
      rt::Raise(rt::err::kInvalidProcCall, "The memo file is full");
    file_.Write(entry);
    const std::uint32_t block = nextBlock_;
    nextBlock_ += static_cast<std::uint32_t>(blocks);
    return block;
  }

  void Finish() {
    std::string header(24, '\0');
    if (IsFoxPro()) {
      PutBE(header, 0, nextBlock_, 4);
      PutBE(header, 6, blockSize_, 2);
    } else {
      PutLE(header, 0, nextBlock_, 4);
      if (flavour_ == DbfFlavour::dBaseIII) {
        header[16] = '\x03';
      } else {
        // The table's name and the block size, which readers look for at
        // offset 4 or at offset 20.
        PutLE(header, 4, blockSize_, 4);
        for (std::size_t i = 0; i < 8 && i < tableName_.size(); ++i) header[8 + i] = tableName_[i];
        PutLE(header, 20, blockSize_, 2);
      }
    }
    file_.WriteAt(0, header);
    file_.Finish();
  }
  void Remove() noexcept { file_.Remove(); }

 private:
  bool IsFoxPro() const { return blockSize_ == 64; }

  DbfFlavour flavour_;
  std::uint32_t blockSize_;
  std::uint32_t nextBlock_;
  std::string tableName_;
  OutFile file_;
};

// The memo file beside `path`: same name, extension .dbt or .fpt, upper-case
// when the table's extension is.
std::string MemoPath(const std::string& path, bool foxPro) {
  std::filesystem::path p(path);
  const std::string ext = p.extension().string();
  const bool upper = ext.size() > 1 && std::all_of(ext.begin() + 1, ext.end(), [](char c) {
                       return std::isupper(static_cast<unsigned char>(c)) != 0;
                     });
  std::string memoExt = foxPro ? ".fpt" : ".dbt";
  if (upper) std::transform(memoExt.begin(), memoExt.end(), memoExt.begin(), ::toupper);
  return p.replace_extension(memoExt).string();
}

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

// The bytes of a binary value: a Byte array, or text taken as its bytes.
std::string BinaryBytes(const rt::Variant& v) {
  if (!v.IsArray()) return rt::CStr(v);
  std::string out;
  for (const auto& item : v.AsArray().items()) out += static_cast<char>(rt::CByte(item));
  return out;
}

class DbaseWriter final : public TableWriter {
 public:
  DbaseWriter(const std::string& path, DbfFlavour flavour, const WriterOptions& options)
      : flavour_(flavour), codePage_(options.codePage), path_(path) {
    driver_ = dbf::LanguageDriver(codePage_);
    if (driver_ == 0)
      rt::Raise(rt::err::kInvalidProcCall,
                "Code page " + std::to_string(codePage_) + " has no dBase language driver");
    table_.Open(path);
  }
  DbaseWriter(const DbaseWriter&) = delete;
  DbaseWriter& operator=(const DbaseWriter&) = delete;

  ~DbaseWriter() override {
    if (finished_) return;
    table_.Remove();
    if (memo_) memo_->Remove();
  }

  void Begin(const std::vector<Column>& columns) override {
    if (begun_) rt::Raise(rt::err::kInvalidProcCall, "The table's fields are set already");
    if (columns.empty()) rt::Raise(rt::err::kInvalidProcCall, "A dBase table needs a field");
    const std::size_t maxFields = flavour_ == DbfFlavour::dBaseIII ? 128 : 255;
    if (columns.size() > maxFields)
      rt::Raise(rt::err::kInvalidProcCall, "A table of this format holds at most " +
                                               std::to_string(maxFields) + " fields, not " +
                                               std::to_string(columns.size()));
    std::vector<std::string> names;
    for (const auto& c : columns) names.push_back(c.name);
    const auto dbfNames = dbf::FieldNames(names, codePage_);
    bool hasMemo = false;
    std::size_t recordLength = 1;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      Field f = dbf::MapColumn(columns[i], flavour_, codePage_);
      f.name = dbfNames[i];
      hasMemo = hasMemo || f.type == 'M';
      recordLength += static_cast<std::size_t>(f.length);
      fields_.push_back(f);
    }
    columns_ = columns;
    const std::size_t maxRecord = IsFoxPro() ? 65500 : 4000;
    if (recordLength > maxRecord)
      rt::Raise(rt::err::kInvalidProcCall, "A record of this format holds at most " +
                                               std::to_string(maxRecord) + " bytes, not " +
                                               std::to_string(recordLength));
    if (hasMemo) {
      memo_ = std::make_unique<MemoFile>(flavour_, MemoName());
      memo_->Open(MemoPath(path_, IsFoxPro()));
    }
    version_ = dbf::VersionByte(flavour_, hasMemo);
    record_.assign(recordLength, ' ');
    table_.Write(Header());
    std::string descriptors;
    std::size_t offset = 1;
    for (const auto& f : fields_) {
      std::string d(32, '\0');
      std::memcpy(d.data(), f.name.data(), std::min<std::size_t>(f.name.size(), 10));
      d[11] = f.type;
      if (IsFoxPro()) PutLE(d, 12, static_cast<std::uint32_t>(offset), 4);
      d[16] = static_cast<char>(f.length);
      d[17] = static_cast<char>(f.decimals);
      descriptors += d;
      offset += static_cast<std::size_t>(f.length);
    }
    descriptors += '\x0D';
    table_.Write(descriptors);
    begun_ = true;
  }

  void Row(const std::vector<rt::Variant>& values) override {
    if (!begun_ || finished_)
      rt::Raise(rt::err::kInvalidProcCall, "A row can be written only between Begin and Finish");
    if (values.size() != fields_.size())
      rt::Raise(rt::err::kInvalidProcCall, "A row of " + std::to_string(values.size()) +
                                               " values for a table of " +
                                               std::to_string(fields_.size()) + " fields");
    if (rows_ == 0xFFFFFFFFu) rt::Raise(rt::err::kInvalidProcCall, "The table is full");
    record_[0] = ' ';  // not deleted
    std::size_t offset = 1;
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      Put(i, values[i], offset);
      offset += static_cast<std::size_t>(fields_[i].length);
    }
    table_.Write(record_);
    ++rows_;  // a row refused above leaves the table as it was
  }

  void Finish() override {
    if (!begun_) rt::Raise(rt::err::kInvalidProcCall, "The table has no fields");
    if (finished_) return;
    table_.Write("\x1A");
    table_.WriteAt(0, Header());
    table_.Finish();
    if (memo_) memo_->Finish();
    finished_ = true;
  }

 private:
  bool IsFoxPro() const { return dbf::IsFoxPro(flavour_); }

  // The table's name for the dBase IV memo header: its first 8 bytes, in ASCII.
  std::string MemoName() const {
    std::string name = std::filesystem::path(path_).stem().string().substr(0, 8);
    for (char& c : name) {
      const auto b = static_cast<unsigned char>(c);
      c = b < 0x80 ? static_cast<char>(std::toupper(b)) : '_';
    }
    return name;
  }

  std::string Header() const {
    std::string h(32, '\0');
    const rt::DateParts today = rt::SplitDate(rt::Now());
    h[0] = static_cast<char>(version_);
    h[1] = static_cast<char>(today.year - 1900);
    h[2] = static_cast<char>(today.month);
    h[3] = static_cast<char>(today.day);
    PutLE(h, 4, rows_, 4);
    PutLE(h, 8, static_cast<std::uint32_t>(32 + 32 * fields_.size() + 1), 2);
    PutLE(h, 10, static_cast<std::uint32_t>(record_.size()), 2);
    h[29] = static_cast<char>(driver_);
    return h;
  }

  std::string Where(std::size_t field) const {
    return "row " + std::to_string(rows_ + 1) + ", field " + columns_[field].name;
  }

  [[noreturn]] void RaiseValue(std::size_t field, const std::string& why) const {
    rt::Raise(rt::err::kInvalidProcCall, "The value of " + Where(field) + " " + why);
  }

  void PutRight(std::size_t at, int width, const std::string& text) {
    const auto w = static_cast<std::size_t>(width);
    std::memset(record_.data() + at, ' ', w - text.size());
    std::memcpy(record_.data() + at + w - text.size(), text.data(), text.size());
  }

  // Writes the value of field `i` at `at` in the record.
  void Put(std::size_t i, const rt::Variant& v, std::size_t at) {
    const Field& f = fields_[i];
    char* out = record_.data() + at;
    const auto width = static_cast<std::size_t>(f.length);
    const bool textual = f.kind == Kind::Text || f.kind == Kind::Memo;
    if (v.IsNull() || v.IsEmpty() || (!textual && v.IsString() && v.AsString().empty())) {
      std::memset(out, f.type == 'L' ? '?' : ' ', width);
      return;
    }
    std::string bytes;
    try {
      switch (f.kind) {
        case Kind::Text:
          bytes = EncodeText(rt::TextOf(v), codePage_, Where(i));
          if (bytes.size() > width)
            RaiseValue(i, "is " + std::to_string(bytes.size()) + " bytes long; the field holds " +
                              std::to_string(width));
          std::memcpy(out, bytes.data(), bytes.size());
          std::memset(out + bytes.size(), ' ', width - bytes.size());
          return;
        case Kind::Integer:
        case Kind::Fixed:
        case Kind::Float:
          bytes = f.kind == Kind::Float ? dbf::FloatText(v, f.length, f.decimals)
                                        : dbf::FixedText(v, f.length, f.decimals);
          if (bytes.empty())
            RaiseValue(i, "does not fit in a number of " + std::to_string(f.length) +
                              " characters with " + std::to_string(f.decimals) + " decimals");
          PutRight(at, f.length, bytes);
          return;
        case Kind::Boolean:
          *out = rt::CBool(v) ? 'T' : 'F';
          return;
        case Kind::Date:
        case Kind::Time: {
          const rt::DateParts d = rt::SplitDate(rt::CDate(v));
          char buffer[32];
          if (f.kind == Kind::Date) {
            std::snprintf(buffer, sizeof buffer, "%04d%02d%02d", d.year, d.month, d.day);
          } else {
            std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d", d.hour, d.minute, d.second);
          }
          std::memcpy(out, buffer, width);
          return;
        }
        case Kind::Memo:
        case Kind::BinaryMemo: {
          bytes = f.kind == Kind::Memo ? EncodeText(rt::TextOf(v), codePage_, Where(i))
                                       : Hex(BinaryBytes(v));
          if (bytes.empty()) {
            std::memset(out, ' ', width);
            return;
          }
          PutRight(at, f.length, std::to_string(memo_->Add(bytes)));
          return;
        }
      }
    } catch (const rt::PlatformError& e) {
      // Texts that name the place already pass on; conversions do not.
      if (std::string(e.what()).find(Where(i)) != std::string::npos) throw;
      RaiseValue(i, std::string("cannot be written: ") + e.what());
    }
  }

  DbfFlavour flavour_;
  int codePage_;
  std::string path_;
  std::uint8_t driver_ = 0;
  std::uint8_t version_ = 0x03;
  OutFile table_;
  std::unique_ptr<MemoFile> memo_;
  std::vector<Column> columns_;
  std::vector<Field> fields_;
  std::string record_;
  std::uint32_t rows_ = 0;
  bool begun_ = false;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<TableWriter> OpenDbaseWriter(const std::string& path, DbfFlavour flavour,
                                             const WriterOptions& options) {
  return std::make_unique<DbaseWriter>(path, flavour, options);
}

}  // namespace zmdb::dal::formats

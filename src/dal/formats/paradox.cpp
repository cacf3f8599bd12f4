// Paradox 3.x and 4.x tables: a header, then data blocks of whole records
// chained by block number; memo and binary values past the record's leader go
// to a .mb file of 4 KB blocks. Records are written as they come: one block is
// held in memory, and the counts in the header are written at Finish.
#include "zmdb/dal/formats/paradox.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "paradox_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::formats {
namespace paradox {
namespace {

constexpr std::int32_t kAdSmallInt = 2, kAdInteger = 3, kAdSingle = 4, kAdDouble = 5,
                       kAdCurrency = 6, kAdDate = 7, kAdBoolean = 11, kAdDecimal = 14,
                       kAdTinyInt = 16, kAdUnsignedTinyInt = 17, kAdBinary = 128, kAdChar = 129,
                       kAdWChar = 130, kAdNumeric = 131, kAdDBDate = 133, kAdDBTime = 134,
                       kAdDBTimeStamp = 135, kAdVarChar = 200, kAdLongVarChar = 201,
                       kAdVarWChar = 202, kAdLongVarWChar = 203, kAdVarBinary = 204,
                       kAdLongVarBinary = 205;

// The most bytes one character takes in a code page.
int BytesPerChar(int codePage) {
  switch (codePage) {
    case 932:
    case 936:
    case 949:
    case 950:
      return 2;
    case 65001:
      return 3;
    default:
      return 1;
  }
}

void PutLE16(std::string& out, std::size_t at, std::uint32_t v) {
  out[at] = static_cast<char>(v & 0xFF);
  out[at + 1] = static_cast<char>((v >> 8) & 0xFF);
}

void PutLE32(std::string& out, std::size_t at, std::uint32_t v) {
  PutLE16(out, at, v & 0xFFFF);
  PutLE16(out, at + 2, v >> 16);
}

std::string BigEndian(std::uint64_t bits, int bytes) {
  std::string out(static_cast<std::size_t>(bytes), '\0');
  for (int i = bytes - 1; i >= 0; --i) {
    out[static_cast<std::size_t>(i)] = static_cast<char>(bits & 0xFF);
    bits >>= 8;
  }
  return out;
}

// The ASCII upper case of a name, for telling names apart without case.
std::string Folded(std::string s) {
  for (char& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return s;
}

constexpr int kTableNameBytes = 79;
constexpr std::size_t kBaseHeader = 0x58;
constexpr std::size_t kDataHeader = 0x20;  // 4.x only
const char kSortOrderName[] = "ascii";

}  // namespace

Field PlanField(const Column& column, ParadoxVersion version, int codePage) {
  const bool v4 = version == ParadoxVersion::v4;
  const auto alpha = [](int bytes) {
    return Field{{}, Kind::Alpha, kAlpha, static_cast<std::uint8_t>(std::clamp(bytes, 1, 255))};
  };
  switch (column.type) {
    case kAdSmallInt:
    case kAdTinyInt:
    case kAdUnsignedTinyInt:
      return {{}, Kind::Short, kShort, 2};
    case kAdBoolean:
      return {{}, Kind::Boolean, kShort, 2};
    case kAdCurrency:
      return {{}, Kind::Money, kMoney, 8};
    case kAdDate:
    case kAdDBDate:
    case kAdDBTimeStamp:
      return {{}, Kind::Date, kDate, 4};
    case kAdDBTime:
      return {{}, Kind::Time, kAlpha, 8};
    case kAdInteger:
    case kAdSingle:
    case kAdDouble:
    case kAdDecimal:
    case kAdNumeric:
    case 18:
    case 19:
    case 20:
    case 21:
      return {{}, Kind::Number, kNumber, 8};
    case kAdChar:
    case kAdWChar:
    case kAdVarChar:
    case kAdVarWChar:
    case kAdLongVarChar:
    case kAdLongVarWChar: {
      const bool longText = column.type == kAdLongVarChar || column.type == kAdLongVarWChar ||
                            column.definedSize <= 0 || column.definedSize > 255;
      if (longText && v4) return {{}, Kind::Memo, kMemo, kLeader + 10};
      if (longText) return alpha(255);
      return alpha(column.definedSize * BytesPerChar(codePage));
    }
    case kAdBinary:
    case kAdVarBinary:
    case kAdLongVarBinary:
      if (v4) return {{}, Kind::Binary, kBinary, kLeader + 10};
      rt::Raise(rt::err::kInvalidProcCall, "Field " + column.name +
                                               " holds binary data, which a Paradox 3.x "
                                               "table cannot store");
    default:
      return alpha(255);
  }
}

std::string FitText(std::string_view utf8, int codePage, std::size_t limit, std::string_view what) {
  std::string whole = EncodeText(utf8, codePage, what);
  if (whole.size() <= limit) return whole;
  // Too long: keep whole characters while they fit.
  std::string out;
  std::size_t i = 0;
  while (i < utf8.size()) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    std::size_t n = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    n = std::min(n, utf8.size() - i);
    const std::string ch = EncodeText(utf8.substr(i, n), codePage, what);
    if (out.size() + ch.size() > limit) break;
    out += ch;
    i += n;
  }
  return out;
}

std::vector<std::string> FieldNames(const std::vector<Column>& columns, int codePage) {
  std::vector<std::string> names;
  std::vector<std::string> folded;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string fallback = "Field" + std::to_string(i + 1);
    const std::string& source = columns[i].name.empty() ? fallback : columns[i].name;
    std::string name = FitText(source, codePage, kMaxNameBytes, "the name of field " + source);
    // A name that another already took gets a number at its end.
    for (int n = 2; std::find(folded.begin(), folded.end(), Folded(name)) != folded.end(); ++n) {
      const std::string suffix = "_" + std::to_string(n);
      name = FitText(source, codePage, kMaxNameBytes - suffix.size(), source) + suffix;
    }
    folded.push_back(Folded(name));
    names.push_back(std::move(name));
  }
  return names;
}

std::string EncodeShort(std::int16_t value) {
  return BigEndian(static_cast<std::uint16_t>(value) ^ 0x8000u, 2);
}

std::string EncodeLong(std::int32_t value) {
  return BigEndian(static_cast<std::uint32_t>(value) ^ 0x80000000u, 4);
}

std::string EncodeDouble(double value) {
  if (value == 0.0) value = 0.0;  // -0 is stored as 0
  auto bits = std::bit_cast<std::uint64_t>(value);
  // Positive numbers get the sign bit set; negative ones have every bit
  // inverted, so that a larger number has larger bytes.
  bits = value >= 0.0 ? bits | 0x8000000000000000ull : ~bits;
  return BigEndian(bits, 8);
}

std::int32_t DayNumber(double serial) {
  // Day 0 of the serial (1899-12-30) is day 693594 counted from 1 January 1.
  return static_cast<std::int32_t>(std::trunc(serial)) + 693594;
}

std::uint16_t RecordSize(const std::vector<Field>& fields) {
  unsigned size = 0;
  for (const Field& f : fields) size += f.size;
  return static_cast<std::uint16_t>(std::min(size, 0xFFFFu));
}

namespace {

// The parts of the header after the fixed part, and where each starts.
struct Layout {
  std::size_t fieldInfo = 0;  // field types and sizes
  std::size_t nameBytes = 0;  // field names with their terminating zeros
  std::size_t end = 0;        // the header's real length
};

Layout LayoutOf(const Header& h) {
  Layout l;
  l.fieldInfo = kBaseHeader + (h.version == ParadoxVersion::v4 ? kDataHeader : 0);
  for (const Field& f : h.fields) l.nameBytes += f.name.size() + 1;
  const std::size_t n = h.fields.size();
  // types and sizes, the table name pointer, one pointer per field name, the
  // table name, the field names, the field numbers and the sort order name.
  l.end = l.fieldInfo + n * 2 + 4 + n * 4 + kTableNameBytes + l.nameBytes + n * 2 +
          sizeof(kSortOrderName);
  return l;
}

}  // namespace

std::uint16_t HeaderSize(const Header& header) {
  const std::size_t end = LayoutOf(header).end;
  return static_cast<std::uint16_t>((end + 0x7FF) / 0x800 * 0x800);
}

std::string BuildHeader(const Header& h) {
  const Layout l = LayoutOf(h);
  const bool v4 = h.version == ParadoxVersion::v4;
  const auto n = static_cast<std::uint32_t>(h.fields.size());
  std::string out(HeaderSize(h), '\0');
  PutLE16(out, 0x00, h.recordSize);
  PutLE16(out, 0x02, HeaderSize(h));
  out[0x04] = 2;  // a table without a primary key
  out[0x05] = static_cast<char>(h.blockKB);
  PutLE32(out, 0x06, static_cast<std::uint32_t>(h.records));
  PutLE16(out, 0x0A, h.blocks);  // the next block to use
  PutLE16(out, 0x0C, h.blocks);  // blocks in the file
  PutLE16(out, 0x0E, h.blocks > 0 ? 1 : 0);
  PutLE16(out, 0x10, h.blocks);  // last block in the chain
  PutLE16(out, 0x21, n);
  out[0x29] = 0;  // sort order: ascii
  out[0x2D] = 1;  // change counts
  out[0x2E] = 1;
  const std::size_t tableNamePtr = l.fieldInfo + n * 2;
  PutLE32(out, 0x30, static_cast<std::uint32_t>(tableNamePtr));
  PutLE32(out, 0x34, static_cast<std::uint32_t>(l.fieldInfo));
  out[0x39] = v4 ? 0x09 : 0x03;  // file version
  PutLE16(out, 0x3A, h.blocks);
  if (v4) {
    PutLE32(out, 0x25, 0xFF00FF00u);  // the password word is in the second header part
    out[0x3E] = 0x1F;
    out[0x3F] = 0x0F;
    PutLE16(out, 0x51, static_cast<std::uint32_t>(l.end));
    out[0x56] = 0x20;
    PutLE16(out, 0x58, 0x0109);
    PutLE16(out, 0x5A, 0x0109);
    PutLE16(out, 0x64, n + 1);  // next field id
    PutLE16(out, 0x6A, static_cast<std::uint32_t>(h.codePage));
    out[0x6C] = 1;
    out[0x6D] = 1;
  }
  std::size_t at = l.fieldInfo;
  for (const Field& f : h.fields) {
    out[at++] = static_cast<char>(f.type);
    out[at++] = static_cast<char>(f.size);
  }
  const std::size_t tableName = tableNamePtr + 4 + n * 4;
  PutLE32(out, at, static_cast<std::uint32_t>(tableName));
  at += 4;
  std::size_t name = tableName + kTableNameBytes;
  for (const Field& f : h.fields) {
    PutLE32(out, at, static_cast<std::uint32_t>(name));
    at += 4;
    name += f.name.size() + 1;
  }
  out.replace(at, std::min<std::size_t>(h.tableName.size(), kTableNameBytes - 1), h.tableName, 0,
              kTableNameBytes - 1);
  at += kTableNameBytes;
  for (const Field& f : h.fields) {
    out.replace(at, f.name.size(), f.name);
    at += f.name.size() + 1;
  }
  for (std::uint32_t i = 1; i <= n; ++i, at += 2) PutLE16(out, at, i);
  out.replace(at, sizeof(kSortOrderName) - 1, kSortOrderName);
  return out;
}

namespace {

constexpr int kBlockHead = 6;

class File {
 public:
  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { Close(); }

  void Create(const std::string& path) {
    path_ = path;
    fp_ = std::fopen(path.c_str(), "wb");
    if (fp_ == nullptr) Fail("cannot be created");
  }
  bool open() const { return fp_ != nullptr; }
  void Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), fp_) != bytes.size()) Fail("cannot be written");
  }
  void WriteAt(long offset, std::string_view bytes) {
    if (std::fseek(fp_, offset, SEEK_SET) != 0) Fail("cannot be written");
    Write(bytes);
    if (std::fseek(fp_, 0, SEEK_END) != 0) Fail("cannot be written");
  }
  void Finish() {
    std::FILE* fp = fp_;
    fp_ = nullptr;
    if (std::fclose(fp) != 0) Fail("cannot be written");
  }
  void Close() {
    if (fp_ != nullptr) std::fclose(fp_);
    fp_ = nullptr;
  }
  void Remove() {
    Close();
    if (!path_.empty()) {
      std::error_code ec;
      std::filesystem::remove(path_, ec);
    }
  }

 private:
  [[noreturn]] void Fail(const char* what) const {
    rt::Raise(rt::err::kPathFileAccess,
              "The Paradox file " + path_ + " " + what + ": " + std::strerror(errno));
  }
  std::string path_;
  std::FILE* fp_ = nullptr;
};

class Writer final : public TableWriter {
 public:
  Writer(std::string path, ParadoxVersion version, WriterOptions options)
      : path_(std::move(path)), version_(version), options_(options) {}
  ~Writer() override {
    if (!finished_) {
      db_.Remove();
      mb_.Remove();
    }
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Begin(const std::vector<Column>& columns) override {
    if (begun_) rt::Raise(rt::err::kInvalidProcCall, "The Paradox table has its fields already");
    if (columns.empty() || columns.size() > 255) {
      rt::Raise(rt::err::kInvalidProcCall,
                "A Paradox table has 1 to 255 fields, not " + std::to_string(columns.size()));
    }
    columns_ = columns;
    const std::vector<std::string> names = FieldNames(columns, options_.codePage);
    bool blobs = false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      Field f = PlanField(columns[i], version_, options_.codePage);
      f.name = names[i];
      blobs = blobs || f.kind == Kind::Memo || f.kind == Kind::Binary;
      header_.fields.push_back(std::move(f));
    }
    header_.version = version_;
    header_.codePage = options_.codePage;
    header_.recordSize = RecordSize(header_.fields);
    header_.blockKB = version_ == ParadoxVersion::v4 ? 4 : 2;
    if (header_.recordSize + kBlockHead > header_.blockKB * 1024) header_.blockKB = 4;
    if (header_.recordSize + kBlockHead > header_.blockKB * 1024) {
      rt::Raise(rt::err::kInvalidProcCall,
                "A record of " + std::to_string(header_.recordSize) +
                    " bytes is longer than a Paradox table holds (4090 bytes)");
    }
    const std::filesystem::path p(path_);
    header_.tableName =
        FitText(p.filename().string(), options_.codePage, kTableNameBytes - 1, "the table name");
    perBlock_ = (header_.blockKB * 1024 - kBlockHead) / header_.recordSize;
    block_.assign(static_cast<std::size_t>(header_.blockKB) * 1024, '\0');
    db_.Create(path_);
    db_.Write(BuildHeader(header_));
    if (blobs) {
      mbPath_ = p;
      mbPath_.replace_extension(p.extension() == ".DB" ? ".MB" : ".mb");
      mb_.Create(mbPath_.string());
      mb_.Write(MbHeader());
      mbBlocks_ = 1;
    }
    begun_ = true;
  }

  void Row(const std::vector<rt::Variant>& values) override {
    if (!begun_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "The Paradox table is not open");
    if (values.size() != header_.fields.size()) {
      rt::Raise(rt::err::kInvalidProcCall, "Row " + std::to_string(header_.records + 1) + " has " +
                                               std::to_string(values.size()) + " values for " +
                                               std::to_string(header_.fields.size()) + " fields");
    }
    if (inBlock_ == perBlock_) FlushBlock(true);
    std::size_t at = kBlockHead + static_cast<std::size_t>(inBlock_) * header_.recordSize;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const Field& f = header_.fields[i];
      std::string bytes;
      if (!values[i].IsNull() && !values[i].IsEmpty()) {
        const std::string what =
            "row " + std::to_string(header_.records + 1) + ", field " + columns_[i].name;
        try {
          bytes = Encode(f, values[i], what);
        } catch (const rt::PlatformError& e) {
          if (std::string_view(e.what()).find(what) != std::string_view::npos) throw;
          rt::Raise(e.number(), "The value of " + what + " cannot be written: " + e.what());
        }
      }
      std::fill_n(block_.begin() + static_cast<std::ptrdiff_t>(at), f.size, '\0');
      block_.replace(at, bytes.size(), bytes);
      at += f.size;
    }
    ++inBlock_;
    ++header_.records;
  }

  void Finish() override {
    if (!begun_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "The Paradox table is not open");
    if (inBlock_ > 0) {
      FlushBlock(false);
    } else if (header_.blocks > 0) {
      // The last block was written expecting another after it.
      std::string none(2, '\0');
      db_.WriteAt(HeaderSize(header_) + (header_.blocks - 1L) * header_.blockKB * 1024L, none);
    }
    db_.WriteAt(0, BuildHeader(header_));
    db_.Finish();
    if (mb_.open()) mb_.Finish();
    finished_ = true;
  }

 private:
  // Writes the block in memory; `more` when another block follows it.
  void FlushBlock(bool more) {
    if (header_.blocks == 0xFFFF) {
      rt::Raise(rt::err::kInvalidProcCall,
                "The Paradox table is full at " + std::to_string(header_.records) + " records");
    }
    const auto number = static_cast<std::uint32_t>(header_.blocks + 1);
    PutLE16(block_, 0, more ? number + 1 : 0);
    PutLE16(block_, 2, number - 1);
    PutLE16(block_, 4, static_cast<std::uint32_t>((inBlock_ - 1) * header_.recordSize));
    db_.Write(block_);
    std::fill(block_.begin(), block_.end(), '\0');
    header_.blocks = static_cast<std::uint16_t>(number);
    inBlock_ = 0;
  }

  std::string Encode(const Field& f, const rt::Variant& v, const std::string& what) {
    switch (f.kind) {
      case Kind::Alpha:
        return FitText(v.IsString() ? v.AsString() : rt::CStr(v), options_.codePage, f.size, what);
      case Kind::Short: {
        const std::int16_t n = rt::CInt(v);
        // The bytes of -32768 are those of Null.
        if (n == -32768)
          rt::Raise(rt::err::kOverflow, what + " holds -32768, below a Paradox short");
        return EncodeShort(n);
      }
      case Kind::Boolean:
        return EncodeShort(rt::CBool(v) ? 1 : 0);
      case Kind::Number:
      case Kind::Money:
        return EncodeDouble(rt::CDbl(v));
      case Kind::Date:
        return EncodeLong(DayNumber(rt::CDate(v).serial));
      case Kind::Time: {
        const double serial = rt::CDate(v).serial;
        const auto seconds = static_cast<long>(
            std::lround(std::fabs(serial - std::trunc(serial)) * 86400.0) % 86400);
        char text[16];
        std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60,
                      seconds % 60);
        return text;
      }
      case Kind::Memo:
        return Blob(EncodeText(v.IsString() ? v.AsString() : rt::CStr(v), options_.codePage, what));
      case Kind::Binary:
        return Blob(BytesOf(v));
    }
    return {};
  }

  static std::string BytesOf(const rt::Variant& v) {
    if (!v.IsArray()) return v.IsString() ? v.AsString() : rt::CStr(v);
    std::string out;
    for (const rt::Variant& item : v.AsArray().items()) out += static_cast<char>(rt::CByte(item));
    return out;
  }

  // The record's part of a memo or binary value: its first bytes, then where
  // the whole value is in the .mb file, its length and a modification number.
  std::string Blob(const std::string& data) {
    if (data.empty()) return {};
    std::string field(kLeader + 10, '\0');
    field.replace(0, std::min<std::size_t>(data.size(), kLeader), data, 0, kLeader);
    std::uint32_t where = 0;
    if (data.size() > static_cast<std::size_t>(kLeader)) {
      const std::size_t blocks = (data.size() + 9 + kMbBlock - 1) / kMbBlock;
      if (blocks > 0xFFFF || mbBlocks_ + blocks > 0xFFFFFF) {
        rt::Raise(rt::err::kInvalidProcCall, "A value of " + std::to_string(data.size()) +
                                                 " bytes is longer than a Paradox memo holds");
      }
      // One value in a run of whole blocks: type 2, the run's length in blocks,
      // the value's length and its modification number, then the value.
      std::string head(9, '\0');
      head[0] = 2;
      PutLE16(head, 1, static_cast<std::uint32_t>(blocks));
      PutLE32(head, 3, static_cast<std::uint32_t>(data.size()));
      PutLE16(head, 7, 1);
      mb_.Write(head);
      mb_.Write(data);
      mb_.Write(std::string(blocks * kMbBlock - 9 - data.size(), '\0'));
      where = static_cast<std::uint32_t>(mbBlocks_ * kMbBlock) | 0xFF;
      mbBlocks_ += blocks;
    }
    PutLE32(field, kLeader, where);
    PutLE32(field, kLeader + 4, static_cast<std::uint32_t>(data.size()));
    PutLE16(field, kLeader + 8, 1);
    return field;
  }

  static std::string MbHeader() {
    std::string head(kMbBlock, '\0');
    PutLE16(head, 1, 1);  // the header's length in blocks
    PutLE16(head, 3, 1);  // modification count
    PutLE16(head, 0x0B, 0x1000);
    PutLE16(head, 0x0D, 0x1000);
    head[0x10] = 0x10;
    PutLE16(head, 0x11, 0x40);
    PutLE16(head, 0x13, 0x800);
    return head;
  }

  std::string path_;
  ParadoxVersion version_;
  WriterOptions options_;
  std::vector<Column> columns_;
  Header header_;
  int perBlock_ = 0;
  int inBlock_ = 0;
  std::string block_;
  File db_;
  File mb_;
  std::filesystem::path mbPath_;
  std::size_t mbBlocks_ = 0;
  bool begun_ = false;
  bool finished_ = false;
};

}  // namespace
}  // namespace paradox

std::unique_ptr<TableWriter> OpenParadoxWriter(const std::string& path, ParadoxVersion version,
                                               const WriterOptions& options) {
  return std::make_unique<paradox::Writer>(path, version, options);
}

}  // namespace zmdb::dal::formats

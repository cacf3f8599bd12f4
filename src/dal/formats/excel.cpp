// Excel workbooks. An Excel 5.0 workbook is one stream ("Book") of BIFF
// records in a compound file: the workbook globals (code page, window, fonts,
// number formats, cell formats, one BOUNDSHEET per sheet with the stream
// offset of the sheet's BOF), then each sheet's records. The sheets' records
// are written to an anonymous temporary file as the rows come, so memory stays
// constant; at Finish the globals are built with the sheets' offsets and the
// compound file is written in one pass. A .xlsx target goes through
// libxlsxwriter in its constant memory mode.
#include "zmdb/dal/formats/excel.h"

#include <gsf/gsf-infile.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>
#include <xlsxwriter.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <utility>

#include "cells_p.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::formats {
namespace {

static_assert(std::endian::native == std::endian::little, "BIFF records are little-endian");

constexpr std::size_t kMaxColumns = 256;

[[noreturn]] void Fail(const std::string& text) {
  rt::Raise(rt::err::kPathFileAccess, text);
}

std::string BaseName(const std::string& path) {
  return std::filesystem::path(path).stem().string();
}

bool EndsWithXlsx(const std::string& path) {
  if (path.size() < 5) return false;
  std::string tail = path.substr(path.size() - 5);
  std::transform(tail.begin(), tail.end(), tail.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return tail == ".xlsx";
}

void CheckColumns(const std::vector<Column>& columns) {
  if (columns.empty()) rt::Raise(rt::err::kInvalidProcCall, "A sheet needs at least one column");
  if (columns.size() > kMaxColumns) {
    rt::Raise(rt::err::kInvalidProcCall, "A sheet holds at most 256 columns; the result has " +
                                             std::to_string(columns.size()));
  }
}

// ---------------------------------------------------------------- BIFF5 --

namespace biff {

constexpr std::uint16_t kBof = 0x0809, kEof = 0x000A, kCodePage = 0x0042, kWindow1 = 0x003D,
                        kDateMode = 0x0022, kFont = 0x0031, kFormat = 0x041E, kXf = 0x00E0,
                        kStyle = 0x0293, kBoundSheet = 0x0085, kDimensions = 0x0200,
                        kWindow2 = 0x023E, kLabel = 0x0204, kNumber = 0x0203, kBoolErr = 0x0205;
constexpr std::uint16_t kVersion = 0x0500, kGlobals = 0x0005, kWorksheet = 0x0010;
constexpr std::uint16_t kBuild = 2412, kBuildYear = 1993;
constexpr std::size_t kMaxRows = 16384;
constexpr std::size_t kMaxLabel = 255;  // bytes of text in a LABEL
// Cell formats: 15 style formats, the default cell format, then dates.
constexpr std::uint16_t kXfGeneral = 15, kXfDate = 16, kXfDateTime = 17;
constexpr std::uint16_t kFmtDate = 164, kFmtDateTime = 165;

void Put16(std::string& b, std::uint16_t v) {
  b.push_back(static_cast<char>(v & 0xFF));
  b.push_back(static_cast<char>(v >> 8));
}
void Put32(std::string& b, std::uint32_t v) {
  Put16(b, static_cast<std::uint16_t>(v & 0xFFFF));
  Put16(b, static_cast<std::uint16_t>(v >> 16));
}
void PutDouble(std::string& b, double v) {
  char bytes[8];
  std::memcpy(bytes, &v, sizeof bytes);
  b.append(bytes, sizeof bytes);
}
// A record: id, length, body.
void Record(std::string& out, std::uint16_t id, const std::string& body) {
  Put16(out, id);
  Put16(out, static_cast<std::uint16_t>(body.size()));
  out += body;
}
std::string Bof(std::uint16_t type) {
  std::string b;
  Put16(b, kVersion);
  Put16(b, type);
  Put16(b, kBuild);
  Put16(b, kBuildYear);
  return b;
}
std::string Word(std::uint16_t v) {
  std::string b;
  Put16(b, v);
  return b;
}
// A byte string with an 8-bit length.
std::string ShortText(std::string_view text) {
  std::string b(1, static_cast<char>(text.size()));
  b.append(text);
  return b;
}
std::string Font(std::uint8_t charset) {
  std::string b;
  Put16(b, 200);     // height: 10 points in twips
  Put16(b, 0);       // options
  Put16(b, 0x7FFF);  // automatic colour
  Put16(b, 400);     // normal weight
  Put16(b, 0);       // escapement
  b.push_back(0);    // underline
  b.push_back(0);    // family
  b.push_back(static_cast<char>(charset));
  b.push_back(0);
  b += ShortText("Arial");
  return b;
}
std::string Xf(std::uint16_t format, bool style) {
  std::string b;
  Put16(b, 0);  // font
  Put16(b, format);
  Put16(b, style ? 0xFFF5 : 0x0001);  // locked; style (parent none) or cell of style 0
  b.push_back(0x20);                  // aligned to the bottom
  b.push_back(static_cast<char>(style ? 0xF4 : (format != 0 ? 0x04 : 0x00)));
  Put32(b, 0x000020C0);  // no pattern, default colours
  Put32(b, 0);           // no borders
  return b;
}

// The length in bytes of the longest start of `text` (in `codePage`) that
// holds whole characters and at most `max` bytes.
std::size_t CutWhole(std::string_view text, int codePage, std::size_t max) {
  if (text.size() <= max) return text.size();
  const bool doubleByte = codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950;
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t n = 1;
    const auto c = static_cast<unsigned char>(text[i]);
    if (codePage == 65001) {
      while (i + n < text.size() && (static_cast<unsigned char>(text[i + n]) & 0xC0) == 0x80) ++n;
    } else if (doubleByte && c >= 0x81) {
      n = 2;
    }
    if (i + n > max) break;
    i += n;
  }
  return i;
}

// The code page's character set number in FONT records.
std::uint8_t Charset(int codePage) {
  switch (codePage) {
    case 932:
      return 128;
    case 936:
      return 134;
    case 949:
      return 129;
    case 950:
      return 136;
    default:
      return 0;
  }
}

}  // namespace biff

class Biff5Writer : public TableWriter {
 public:
  Biff5Writer(std::string path, WriterOptions options, std::string table)
      : path_(std::move(path)), options_(options), table_(std::move(table)) {}
  ~Biff5Writer() override {
    if (temp_) std::fclose(temp_);
  }
  Biff5Writer(const Biff5Writer&) = delete;
  Biff5Writer& operator=(const Biff5Writer&) = delete;

  void Begin(const std::vector<Column>& columns) override {
    if (temp_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "The sheet has begun already");
    CheckColumns(columns);
    columns_ = columns;
    header_.clear();
    for (const auto& c : columns_) {
      std::string name = EncodeText(c.name, options_.codePage, "the name of field " + c.name);
      name.resize(biff::CutWhole(name, options_.codePage, biff::kMaxLabel));
      header_.push_back(std::move(name));
    }
    temp_ = std::tmpfile();
    if (!temp_) Fail("No temporary file for the sheet of " + path_ + ": " + std::strerror(errno));
    StartSheet();
  }

  void Row(const std::vector<rt::Variant>& values) override {
    if (!temp_ || finished_)
      rt::Raise(rt::err::kInvalidProcCall, "Row before Begin or after Finish");
    CheckRow(values.size(), columns_.size());
    if (sheetRows_ == biff::kMaxRows) {
      EndSheet();
      StartSheet();
    }
    ++rows_;
    buffer_.clear();
    const auto row = static_cast<std::uint16_t>(sheetRows_);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const Cell cell = ReadCell(columns_[i], values[i]);
      const auto col = static_cast<std::uint16_t>(i);
      switch (cell.kind) {
        case CellKind::kNone:
          break;
        case CellKind::kNumber:
        case CellKind::kCurrency:
          Number(row, col, biff::kXfGeneral, cell.number);
          break;
        case CellKind::kDate: {
          const auto serial = SpreadsheetSerial(cell.number);
          if (!serial) {
            Label(row, col, DateText(cell.number));  // before the sheet's calendar
          } else {
            const bool whole = *serial == std::floor(*serial) && *serial >= 1.0;
            Number(row, col, whole ? biff::kXfDate : biff::kXfDateTime, *serial);
          }
          break;
        }
        case CellKind::kBoolean: {
          std::string b = CellHead(row, col, biff::kXfGeneral);
          b.push_back(static_cast<char>(cell.number != 0.0 ? 1 : 0));
          b.push_back(0);  // a Boolean, not an error
          biff::Record(buffer_, biff::kBoolErr, b);
          break;
        }
        case CellKind::kText: {
          std::string text = EncodeText(cell.text, options_.codePage, Where(rows_, columns_[i]));
          text.resize(biff::CutWhole(text, options_.codePage, biff::kMaxLabel));
          Label(row, col, text);
          break;
        }
      }
    }
    ++sheetRows_;
    Write(buffer_);
  }

  void Finish() override {
    if (!temp_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "Finish before Begin or twice");
    EndSheet();
    finished_ = true;
    WriteCompoundFile();
    std::fclose(temp_);
    temp_ = nullptr;
  }

 private:
  struct Sheet {
    std::string name;  // in the code page
    long start = 0;    // offset of its BOF in the temporary file
  };

  static std::string CellHead(std::uint16_t row, std::uint16_t col, std::uint16_t xf) {
    std::string b;
    biff::Put16(b, row);
    biff::Put16(b, col);
    biff::Put16(b, xf);
    return b;
  }
  void Number(std::uint16_t row, std::uint16_t col, std::uint16_t xf, double v) {
    std::string b = CellHead(row, col, xf);
    biff::PutDouble(b, v);
    biff::Record(buffer_, biff::kNumber, b);
  }
  void Label(std::uint16_t row, std::uint16_t col, std::string_view text) {
    std::string b = CellHead(row, col, biff::kXfGeneral);
    biff::Put16(b, static_cast<std::uint16_t>(text.size()));
    b.append(text);
    biff::Record(buffer_, biff::kLabel, b);
  }

  void Write(const std::string& bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), temp_) != bytes.size()) {
      Fail("Writing the sheet of " + path_ + " failed: " + std::strerror(errno));
    }
  }

  void StartSheet() {
    const std::string suffix = sheets_.empty() ? "" : "_" + std::to_string(sheets_.size() + 1);
    const std::string name = SheetName(table_, suffix);
    Sheet sheet{EncodeText(name, options_.codePage, "the sheet name " + name), std::ftell(temp_)};
    sheet.name.resize(std::min<std::size_t>(sheet.name.size(), 255));
    sheets_.push_back(std::move(sheet));
    buffer_.clear();
    biff::Record(buffer_, biff::kBof, biff::Bof(biff::kWorksheet));
    dimensions_ = sheets_.back().start + static_cast<long>(buffer_.size());
    biff::Record(buffer_, biff::kDimensions, Dimensions(0));
    for (std::size_t i = 0; i < header_.size(); ++i) {
      Label(0, static_cast<std::uint16_t>(i), header_[i]);
    }
    sheetRows_ = 1;
    Write(buffer_);
  }

  std::string Dimensions(std::size_t rows) const {
    std::string b;
    biff::Put16(b, 0);
    biff::Put16(b, static_cast<std::uint16_t>(rows));  // last row + 1 (16,384 fits)
    biff::Put16(b, 0);
    biff::Put16(b, static_cast<std::uint16_t>(columns_.size()));
    biff::Put16(b, 0);
    return b;
  }

  void EndSheet() {
    buffer_.clear();
    std::string window;
    biff::Put16(window, sheets_.size() == 1 ? 0x06B6 : 0x00B6);  // first sheet shown
    biff::Put16(window, 0);
    biff::Put16(window, 0);
    biff::Put32(window, 0);
    biff::Record(buffer_, biff::kWindow2, window);
    biff::Record(buffer_, biff::kEof, {});
    Write(buffer_);
    const long end = std::ftell(temp_);
    buffer_.clear();
    biff::Record(buffer_, biff::kDimensions, Dimensions(sheetRows_));
    if (std::fseek(temp_, dimensions_, SEEK_SET) != 0) Fail("Seeking in the sheet of " + path_);
    Write(buffer_);
    if (std::fseek(temp_, end, SEEK_SET) != 0) Fail("Seeking in the sheet of " + path_);
  }

  // The workbook globals; `base` is where the first sheet starts in the stream.
  std::string Globals(std::uint32_t base) const {
    std::string g;
    biff::Record(g, biff::kBof, biff::Bof(biff::kGlobals));
    biff::Record(g, biff::kCodePage, biff::Word(static_cast<std::uint16_t>(options_.codePage)));
    std::string window;
    for (const int v : {360, 270, 14940, 9150, 0x0038, 0, 0, 1, 600}) {
      biff::Put16(window, static_cast<std::uint16_t>(v));
    }
    biff::Record(g, biff::kWindow1, window);
    biff::Record(g, biff::kDateMode, biff::Word(0));  // days counted from 1900
    for (int i = 0; i < 5; ++i)
      biff::Record(g, biff::kFont, biff::Font(biff::Charset(options_.codePage)));
    for (const auto& [index, text] :
         {std::pair<std::uint16_t, std::string_view>{biff::kFmtDate, "yyyy\\-mm\\-dd"},
          {biff::kFmtDateTime, "yyyy\\-mm\\-dd\\ hh:mm:ss"}}) {
      std::string f;
      biff::Put16(f, index);
      f += biff::ShortText(text);
      biff::Record(g, biff::kFormat, f);
    }
    for (int i = 0; i < 15; ++i) biff::Record(g, biff::kXf, biff::Xf(0, true));
    biff::Record(g, biff::kXf, biff::Xf(0, false));
    biff::Record(g, biff::kXf, biff::Xf(biff::kFmtDate, false));
    biff::Record(g, biff::kXf, biff::Xf(biff::kFmtDateTime, false));
    std::string style;
    biff::Put16(style, 0x8000);  // built-in style of XF 0: Normal
    style.push_back(0);
    style.push_back(static_cast<char>(0xFF));
    biff::Record(g, biff::kStyle, style);
    for (const auto& sheet : sheets_) {
      const auto offset =
          static_cast<std::uint64_t>(base) + static_cast<std::uint64_t>(sheet.start);
      if (offset > UINT32_MAX) Fail("The rows are too many for an Excel 5.0 workbook: " + path_);
      std::string b;
      biff::Put32(b, static_cast<std::uint32_t>(offset));
      b.push_back(0);  // visible
      b.push_back(0);  // worksheet
      b += biff::ShortText(sheet.name);
      biff::Record(g, biff::kBoundSheet, b);
    }
    biff::Record(g, biff::kEof, {});
    return g;
  }

  void WriteCompoundFile() {
    static std::once_flag init;
    std::call_once(init, [] { gsf_init(); });
    const std::string globals = Globals(static_cast<std::uint32_t>(Globals(0).size()));
    GError* error = nullptr;
    GsfOutput* file = gsf_output_stdio_new(path_.c_str(), &error);
    if (!file) {
      const std::string why = error ? error->message : "unknown error";
      if (error) g_error_free(error);
      Fail("Cannot create " + path_ + ": " + why);
    }
    GsfOutfile* ole = gsf_outfile_msole_new(file);
    g_object_unref(file);
    GsfOutput* book = gsf_outfile_new_child(ole, "Book", FALSE);
    bool ok = book && gsf_output_write(book, globals.size(),
                                       reinterpret_cast<const guint8*>(globals.data()));
    std::rewind(temp_);
    char chunk[1 << 16];
    while (ok) {
      const std::size_t n = std::fread(chunk, 1, sizeof chunk, temp_);
      if (n == 0) {
        ok = !std::ferror(temp_);
        break;
      }
      ok = gsf_output_write(book, n, reinterpret_cast<const guint8*>(chunk));
    }
    if (book) {
      ok = gsf_output_close(book) && ok;
      g_object_unref(book);
    }
    ok = gsf_output_close(GSF_OUTPUT(ole)) && ok;
    g_object_unref(ole);
    if (!ok) {
      std::error_code ec;
      std::filesystem::remove(path_, ec);
      Fail("Writing " + path_ + " failed");
    }
  }

  std::string path_;
  WriterOptions options_;
  std::string table_;
  std::vector<Column> columns_;
  std::vector<std::string> header_;  // field names in the code page
  std::vector<Sheet> sheets_;
  std::FILE* temp_ = nullptr;
  std::string buffer_;
  long dimensions_ = 0;        // offset of the current sheet's DIMENSIONS
  std::size_t sheetRows_ = 0;  // rows of the current sheet, field names included
  std::size_t rows_ = 0;       // rows of the result written
  bool finished_ = false;
};

// ----------------------------------------------------------------- xlsx --

class XlsxWriter : public TableWriter {
 public:
  XlsxWriter(std::string path, std::string table)
      : path_(std::move(path)), table_(std::move(table)) {}
  ~XlsxWriter() override {
    if (book_) lxw_workbook_free(book_);  // abandoned: nothing was written
  }
  XlsxWriter(const XlsxWriter&) = delete;
  XlsxWriter& operator=(const XlsxWriter&) = delete;

  void Begin(const std::vector<Column>& columns) override {
    if (book_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "The sheet has begun already");
    CheckColumns(columns);
    columns_ = columns;
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.use_zip64 = LXW_TRUE;
    book_ = workbook_new_opt(path_.c_str(), &options);
    if (!book_) Fail("Cannot create the workbook " + path_);
    date_ = workbook_add_format(book_);
    format_set_num_format(date_, "yyyy-mm-dd");
    dateTime_ = workbook_add_format(book_);
    format_set_num_format(dateTime_, "yyyy-mm-dd hh:mm:ss");
    StartSheet();
  }

  void Row(const std::vector<rt::Variant>& values) override {
    if (!book_ || finished_)
      rt::Raise(rt::err::kInvalidProcCall, "Row before Begin or after Finish");
    CheckRow(values.size(), columns_.size());
    if (sheetRows_ == LXW_ROW_MAX) StartSheet();
    ++rows_;
    const auto row = static_cast<lxw_row_t>(sheetRows_);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const Cell cell = ReadCell(columns_[i], values[i]);
      const auto col = static_cast<lxw_col_t>(i);
      lxw_error e = LXW_NO_ERROR;
      switch (cell.kind) {
        case CellKind::kNone:
          break;
        case CellKind::kNumber:
        case CellKind::kCurrency:
          e = worksheet_write_number(sheet_, row, col, cell.number, nullptr);
          break;
        case CellKind::kDate: {
          const auto serial = SpreadsheetSerial(cell.number);
          if (!serial) {
            e = worksheet_write_string(sheet_, row, col, DateText(cell.number).c_str(), nullptr);
          } else {
            const bool whole = *serial == std::floor(*serial) && *serial >= 1.0;
            e = worksheet_write_number(sheet_, row, col, *serial, whole ? date_ : dateTime_);
          }
          break;
        }
        case CellKind::kBoolean:
          e = worksheet_write_boolean(sheet_, row, col, cell.number != 0.0, nullptr);
          break;
        case CellKind::kText:
          e = WriteText(row, col, cell.text);
          break;
      }
      Check(e, Where(rows_, columns_[i]));
    }
    ++sheetRows_;
  }

  void Finish() override {
    if (!book_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "Finish before Begin or twice");
    finished_ = true;
    lxw_workbook* book = std::exchange(book_, nullptr);
    const lxw_error e = workbook_close(book);  // frees the workbook
    if (e != LXW_NO_ERROR) {
      std::error_code ec;
      std::filesystem::remove(path_, ec);
      Fail("Writing " + path_ + " failed: " + lxw_strerror(e));
    }
  }

 private:
  static constexpr std::size_t kMaxChars = 32767;

  lxw_error WriteText(lxw_row_t row, lxw_col_t col, std::string_view text) {
    const std::string cut(text.substr(0, Utf8Prefix(text, kMaxChars)));
    return worksheet_write_string(sheet_, row, col, cut.c_str(), nullptr);
  }

  void Check(lxw_error e, const std::string& where) const {
    if (e != LXW_NO_ERROR)
      Fail("Writing " + where + " to " + path_ + " failed: " + lxw_strerror(e));
  }

  void StartSheet() {
    ++sheets_;
    const std::string name =
        SheetName(table_, sheets_ == 1 ? std::string() : "_" + std::to_string(sheets_));
    sheet_ = workbook_add_worksheet(book_, name.c_str());
    if (!sheet_) Fail("Cannot add the sheet " + name + " to " + path_);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      Check(WriteText(0, static_cast<lxw_col_t>(i), columns_[i].name), "the field names");
    }
    sheetRows_ = 1;
  }

  std::string path_;
  std::string table_;
  std::vector<Column> columns_;
  lxw_workbook* book_ = nullptr;
  lxw_worksheet* sheet_ = nullptr;
  lxw_format* date_ = nullptr;
  lxw_format* dateTime_ = nullptr;
  std::size_t sheets_ = 0;
  std::size_t sheetRows_ = 0;
  std::size_t rows_ = 0;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<TableWriter> OpenExcelWriter(const std::string& path, const WriterOptions& options,
                                             const std::string& table) {
  std::string name = table.empty() ? BaseName(path) : table;
  if (EndsWithXlsx(path)) return std::make_unique<XlsxWriter>(path, std::move(name));
  return std::make_unique<Biff5Writer>(path, options, std::move(name));
}

}  // namespace zmdb::dal::formats

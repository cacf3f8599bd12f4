// Delimited text with a schema.ini entry. The rows go to a temporary file in
// the target folder that takes the target's name at Finish; schema.ini is
// rewritten (through a temporary file and a rename) only then, so a writer
// abandoned half way leaves the folder as it was.
#include "zmdb/dal/formats/text.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cells_p.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text_encoding.h"

namespace zmdb::dal::formats {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& text) {
  rt::Raise(rt::err::kPathFileAccess, text);
}

bool IEquals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
    if (std::tolower(x) != std::tolower(y)) return false;
  }
  return true;
}

bool IsMemo(const Column& c) {
  return c.type == 201 || c.type == 203 ||
         ((c.type == 200 || c.type == 202 || c.type == 129 || c.type == 130) &&
          c.definedSize > 255);
}

// The schema.ini type of a column, with its width for text.
std::string SchemaType(const Column& c) {
  switch (c.type) {
    case 2:
    case 3:
    case 16:
    case 17:
    case 18:
      return "Long";
    case 4:
    case 5:
    case 14:
    case 19:
    case 20:
    case 21:
    case 131:
      return "Double";
    case 6:
      return "Currency";
    case 7:
    case 133:
    case 134:
    case 135:
      return "DateTime";
    case 11:
      return "Bit";
    default:
      break;
  }
  if (IsMemo(c) || IsBinaryType(c.type)) return "Memo";
  return "Text Width " + std::to_string(c.definedSize > 0 ? c.definedSize : 255);
}

std::string CharacterSet(int codePage) {
  if (codePage == 65001) return "UTF-8";
  if (codePage == 437 || codePage == 850) return "OEM";
  return "ANSI";
}

// A quoted field: inner quotes doubled.
void Quote(std::string& line, std::string_view text) {
  line.push_back('"');
  for (const char c : text) {
    if (c == '"') line.push_back('"');
    line.push_back(c);
  }
  line.push_back('"');
}

void AppendNumber(std::string& line, double v) {
  char text[32];
  const auto [end, ec] = std::to_chars(text, text + sizeof text, v);
  line.append(text, end);
}

// A Currency amount exactly, without trailing zeros after the point.
void AppendCurrency(std::string& line, rt::Currency c) {
  const bool negative = c.scaled < 0;
  const auto magnitude =
      negative ? 0 - static_cast<std::uint64_t>(c.scaled) : static_cast<std::uint64_t>(c.scaled);
  std::string digits = std::to_string(magnitude / 10000);
  std::string fraction = std::to_string(10000 + magnitude % 10000).substr(1);
  while (!fraction.empty() && fraction.back() == '0') fraction.pop_back();
  if (negative) line.push_back('-');
  line += digits;
  if (!fraction.empty()) line += "." + fraction;
}

// schema.ini's sections other than `section`, as they were, with the new
// entry after them.
std::string ReplaceSection(const std::string& old, const std::string& section,
                           const std::string& entry) {
  std::string out;
  std::istringstream in(old);
  std::string line;
  bool skipping = false;
  while (std::getline(in, line)) {
    std::string bare = line;
    if (!bare.empty() && bare.back() == '\r') bare.pop_back();
    const auto first = bare.find_first_not_of(" \t");
    if (first != std::string::npos && bare[first] == '[') {
      const auto close = bare.find(']', first);
      skipping =
          close != std::string::npos && IEquals(bare.substr(first + 1, close - first - 1), section);
    }
    if (skipping) continue;
    if (bare.empty() && out.empty()) continue;
    out += bare + "\r\n";
  }
  if (!out.empty() && !out.ends_with("\r\n\r\n")) out += "\r\n";
  return out + entry;
}

class TextWriter : public TableWriter {
 public:
  TextWriter(fs::path folder, std::string file, WriterOptions options)
      : folder_(std::move(folder)), file_(std::move(file)), options_(options) {}
  ~TextWriter() override {
    if (out_) {
      std::fclose(out_);
      std::error_code ec;
      fs::remove(temp_, ec);
    }
  }
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  void Begin(const std::vector<Column>& columns) override {
    if (out_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "The file has begun already");
    if (columns.empty())
      rt::Raise(rt::err::kInvalidProcCall, "A text file needs at least one column");
    std::error_code ec;
    if (!fs::is_directory(folder_, ec))
      rt::Raise(rt::err::kPathNotFound, "Path not found: " + folder_.string());
    columns_ = columns;
    std::string pattern = (folder_ / ("." + file_ + ".XXXXXX")).string();
    const int fd = mkstemp(pattern.data());
    if (fd < 0) Fail("Cannot create a file in " + folder_.string() + ": " + std::strerror(errno));
    temp_ = pattern;
    out_ = fdopen(fd, "wb");
    if (!out_) {
      close(fd);
      fs::remove(temp_, ec);
      Fail("Cannot open " + temp_.string());
    }
    line_.clear();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (i) line_.push_back(',');
      Quote(line_, EncodeText(columns_[i].name, options_.codePage,
                              "the name of field " + columns_[i].name));
    }
    EndLine();
  }

  void Row(const std::vector<rt::Variant>& values) override {
    if (!out_ || finished_)
      rt::Raise(rt::err::kInvalidProcCall, "Row before Begin or after Finish");
    CheckRow(values.size(), columns_.size());
    ++rows_;
    line_.clear();
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (i) line_.push_back(',');
      const Cell cell = ReadCell(columns_[i], values[i]);
      switch (cell.kind) {
        case CellKind::kNone:
          break;
        case CellKind::kNumber:
          AppendNumber(line_, cell.number);
          break;
        case CellKind::kCurrency:
          AppendCurrency(line_, cell.currency);
          break;
        case CellKind::kDate:
          line_ += DateText(cell.number);
          break;
        case CellKind::kBoolean:
          line_ += cell.number != 0.0 ? "True" : "False";
          break;
        case CellKind::kText:
          Quote(line_, EncodeText(cell.text, options_.codePage, Where(rows_, columns_[i])));
          break;
      }
    }
    EndLine();
  }

  void Finish() override {
    if (!out_ || finished_) rt::Raise(rt::err::kInvalidProcCall, "Finish before Begin or twice");
    finished_ = true;
    const bool ok = std::fflush(out_) == 0 && std::fclose(out_) == 0;
    out_ = nullptr;
    std::error_code ec;
    if (!ok) {
      fs::remove(temp_, ec);
      Fail("Writing " + (folder_ / file_).string() + " failed");
    }
    fs::rename(temp_, folder_ / file_, ec);
    if (ec) {
      fs::remove(temp_, ec);
      Fail("Cannot name the file " + (folder_ / file_).string() + ": " + ec.message());
    }
    WriteSchema();
  }

 private:
  void EndLine() {
    line_ += "\r\n";
    if (std::fwrite(line_.data(), 1, line_.size(), out_) != line_.size()) {
      Fail("Writing " + (folder_ / file_).string() + " failed: " + std::strerror(errno));
    }
  }

  std::string Entry() const {
    const auto encode = [&](const std::string& text) {
      return EncodeText(text, options_.codePage, "the schema.ini entry of " + file_);
    };
    std::string e = "[" + encode(file_) + "]\r\nColNameHeader=True\r\nFormat=CSVDelimited\r\n";
    e += "CharacterSet=" + CharacterSet(options_.codePage) + "\r\n";
    e += "DateTimeFormat=yyyy-mm-dd hh:nn:ss\r\n";
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      std::string name;
      Quote(name, encode(columns_[i].name));
      e += "Col" + std::to_string(i + 1) + "=" + name + " " + SchemaType(columns_[i]) + "\r\n";
    }
    return e;
  }

  void WriteSchema() {
    const fs::path schema = folder_ / "schema.ini";
    std::string old;
    if (std::ifstream in(schema, std::ios::binary); in) {
      old.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    const std::string text =
        ReplaceSection(old, EncodeText(file_, options_.codePage, file_), Entry());
    const fs::path temp = folder_ / ".schema.ini.new";
    {
      std::ofstream out(temp, std::ios::binary | std::ios::trunc);
      out << text;
      out.close();
      if (!out) Fail("Cannot write " + schema.string());
    }
    std::error_code ec;
    fs::rename(temp, schema, ec);
    if (ec) {
      fs::remove(temp, ec);
      Fail("Cannot write " + schema.string() + ": " + ec.message());
    }
  }

  fs::path folder_;
  std::string file_;  // name.txt
  WriterOptions options_;
  std::vector<Column> columns_;
  fs::path temp_;
  std::FILE* out_ = nullptr;
  std::string line_;
  std::size_t rows_ = 0;
  bool finished_ = false;
};

}  // namespace

void RemoveSchemaEntry(const std::string& folder, const std::string& file, int codePage) {
  const fs::path schema = fs::path(folder) / "schema.ini";
  std::string old;
  if (std::ifstream in(schema, std::ios::binary); in) {
    old.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  } else {
    return;
  }
  const auto encoded = rt::Utf8ToCodePage(file, codePage);
  std::string text = ReplaceSection(old, encoded ? *encoded : file, "");
  while (text.ends_with("\r\n\r\n")) text.resize(text.size() - 2);
  std::error_code ec;
  if (text.find_first_not_of("\r\n") == std::string::npos) {
    fs::remove(schema, ec);
    return;
  }
  std::ofstream out(schema, std::ios::binary | std::ios::trunc);
  out << text;
  if (!out) rt::Raise(rt::err::kPathFileAccess, "Cannot write " + schema.string());
}

std::unique_ptr<TableWriter> OpenTextWriter(const std::string& folder, const std::string& name,
                                            const WriterOptions& options) {
  if (name.empty()) rt::Raise(rt::err::kInvalidProcCall, "The text file needs a name");
  std::string file = name;
  if (file.size() < 4 || !IEquals(std::string_view(file).substr(file.size() - 4), ".txt"))
    file += ".txt";
  return std::make_unique<TextWriter>(fs::path(folder), std::move(file), options);
}

}  // namespace zmdb::dal::formats

// The sheet names of an existing workbook (excel.h): read from the
// BOUNDSHEET records of an Excel 5.0 workbook's "Book" stream, or from
// xl/workbook.xml of an Office Open XML one.
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile-zip.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-utils.h>

#include <cstdint>
#include <mutex>
#include <string_view>

#include "zmdb/dal/formats/excel.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"
#include "zmdb/runtime/text_encoding.h"

namespace zmdb::dal::formats {

namespace {

// Drops a reference to a GObject on every path out.
struct Unref {
  void* object;
  ~Unref() {
    if (object) g_object_unref(object);
  }
};

// The whole of a stream of the workbook.
std::string ReadAll(GsfInput* input) {
  std::string bytes(static_cast<std::size_t>(gsf_input_size(input)), '\0');
  if (!bytes.empty() &&
      !gsf_input_read(input, bytes.size(), reinterpret_cast<guint8*>(bytes.data()))) {
    bytes.clear();
  }
  return bytes;
}

std::uint16_t Word(std::string_view b, std::size_t at) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(b[at]) |
                                    (static_cast<unsigned char>(b[at + 1]) << 8));
}

// A sheet name of `codePage` as UTF-8 (single-byte pages other than 936 are
// read as Latin-1, which they agree with for every letter of a name).
std::string NameText(std::string_view bytes, int codePage) {
  if (codePage == 936) return rt::GbkToUtf8(bytes);
  std::string out;
  for (char c : bytes) rt::AppendUtf8(out, static_cast<unsigned char>(c));
  return out;
}

std::vector<std::string> Biff5Sheets(GsfInfile* ole) {
  std::vector<std::string> names;
  GsfInput* book = gsf_infile_child_by_name(ole, "Book");
  if (!book) book = gsf_infile_child_by_name(ole, "Workbook");
  if (!book) return names;
  Unref keep{book};
  const std::string b = ReadAll(book);
  int codePage = 1252;
  for (std::size_t at = 0; at + 4 <= b.size();) {
    const std::uint16_t type = Word(b, at), size = Word(b, at + 2);
    const std::string_view body = std::string_view(b).substr(at + 4, size);
    at += 4 + std::size_t{size};
    if (body.size() < size || type == 0x000A) break;  // cut short, or the globals' EOF
    if (type == 0x0042 && size >= 2) codePage = Word(body, 0);
    if (type == 0x0085 && size >= 7) {
      const std::size_t length = static_cast<unsigned char>(body[6]);
      names.push_back(NameText(body.substr(7, length), codePage));
    }
  }
  return names;
}

// The value of each name="..." of a <sheet> element, entities resolved.
std::vector<std::string> XlsxSheets(GsfInfile* zip) {
  std::vector<std::string> names;
  GsfInput* xml = gsf_infile_child_by_vname(zip, "xl", "workbook.xml", nullptr);
  if (!xml) return names;
  Unref keep{xml};
  const std::string x = ReadAll(xml);
  for (std::size_t at = x.find("<sheet "); at != std::string::npos; at = x.find("<sheet ", at)) {
    const std::size_t end = x.find('>', at);
    const std::size_t name = x.find(" name=\"", at);
    at = end;
    if (name == std::string::npos || name > end) continue;
    const std::size_t from = name + 7, to = x.find('"', from);
    std::string value;
    for (std::size_t i = from; i < to; ++i) {
      static constexpr std::pair<std::string_view, char> kEntities[] = {
          {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
      bool entity = false;
      for (const auto& [text, c] : kEntities) {
        if (std::string_view(x).substr(i, text.size()) == text) {
          value.push_back(c);
          i += text.size() - 1;
          entity = true;
          break;
        }
      }
      if (!entity) value.push_back(x[i]);
    }
    names.push_back(std::move(value));
  }
  return names;
}

}  // namespace

std::vector<std::string> WorkbookSheets(const std::string& path) {
  static std::once_flag init;
  std::call_once(init, [] { gsf_init(); });
  GError* error = nullptr;
  GsfInput* file = gsf_input_stdio_new(path.c_str(), &error);
  if (!file) {
    if (error) g_error_free(error);
    rt::RaiseStandard(rt::err::kCouldNotFindFile, nullptr, path);
  }
  Unref keepFile{file};
  const bool xlsx = path.size() >= 5 && rt::AsciiLower(path.substr(path.size() - 5)) == ".xlsx";
  GsfInfile* container =
      xlsx ? gsf_infile_zip_new(file, nullptr) : gsf_infile_msole_new(file, nullptr);
  if (!container) rt::RaiseStandard(rt::err::kUnrecognizedFormat, nullptr, path);
  Unref keepContainer{container};
  return xlsx ? XlsxSheets(container) : Biff5Sheets(container);
}

}  // namespace zmdb::dal::formats

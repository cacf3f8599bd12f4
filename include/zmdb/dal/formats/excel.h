// Excel workbooks: an Excel 5.0 workbook (a compound file holding one
// worksheet stream) or, for a target whose name ends in ".xlsx", an Office
// Open XML workbook.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

// A writer of the workbook `path`. The sheet is named after `table` (the
// file's base name when empty), at most 31 characters, with the characters a
// sheet name cannot hold ([ ] : * ? / \) replaced by "_". Row 1 holds the
// field names and each row of the result follows. A sheet holds at most
// 16,384 rows in an Excel 5.0 workbook (1,048,576 in .xlsx); the rows after
// that go on to a new sheet ("<table>_2", "<table>_3", ...) that repeats
// the field names. Text in an Excel 5.0 workbook is stored in
// `options.codePage` and cut to the 255 bytes a cell holds there; .xlsx
// stores Unicode text, cut at 32,767 characters, and leaves an empty text as
// an empty cell. Binary values are not written (the cell stays empty). The
// file appears only at Finish.
std::unique_ptr<TableWriter> OpenExcelWriter(const std::string& path, const WriterOptions& options,
                                             const std::string& table = {});

// The sheet names of the workbook `path` (an Excel 5.0 compound file, or
// Office Open XML when the name ends in ".xlsx"), in workbook order. Error
// 3024 when the file cannot be opened, 3343 when it is no workbook.
std::vector<std::string> WorkbookSheets(const std::string& path);

}  // namespace zmdb::dal::formats

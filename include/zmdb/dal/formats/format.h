// The foreign-format writers of the data engine: one writer per file format
// (dBase and FoxPro tables, Paradox tables, Excel workbooks, delimited text),
// all behind one interface. A writer receives the columns of a result, then
// its rows one at a time, and writes the target as it goes, so a table of any
// size streams through in constant memory. The engine picks the writer from
// the driver prefix of a SELECT ... INTO target ("dBASE IV;", "Paradox 4.x;",
// "Excel 5.0;", "Text;", ...).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::dal::formats {

// One column of the result being written: its name and its ADO type, size,
// precision and scale, as the source recordset's Field reports them.
struct Column {
  std::string name;
  std::int32_t type = 0;         // ADO DataTypeEnum
  std::int32_t definedSize = 0;  // characters for text, bytes otherwise
  std::int32_t precision = 0;
  std::int32_t scale = 0;
};

// What every writer is told besides the path.
struct WriterOptions {
  // The code page text is stored in, for formats that declare one (DBF,
  // Paradox, BIFF5); 936 (Simplified Chinese, GBK) by default. A value that
  // cannot be written in it fails the write, naming the row and the field.
  int codePage = 936;
};

// A table being written. Every member raises a PlatformError on failure; a
// writer destroyed before Finish leaves no half-written target where it can
// avoid it (it removes the files it created).
class TableWriter {
 public:
  virtual ~TableWriter() = default;
  // The columns, once, before any row.
  virtual void Begin(const std::vector<Column>& columns) = 0;
  // One row: one value per column, in column order (Null, Empty or a value).
  virtual void Row(const std::vector<rt::Variant>& values) = 0;
  // Completes the target (headers that hold counts, trailers, closing).
  virtual void Finish() = 0;
};

// Progress of a long write: the engine's SELECT ... INTO reports the rows it
// has written so far to the observer installed on its thread, every so often
// and once more at the end, so a host can draw a progress bar.
using RowObserver = std::function<void(std::int64_t rowsWritten)>;

// Installs `observer` on the current thread for the lifetime of the guard.
class ScopedRowObserver {
 public:
  explicit ScopedRowObserver(RowObserver observer);
  ~ScopedRowObserver();
  ScopedRowObserver(const ScopedRowObserver&) = delete;
  ScopedRowObserver& operator=(const ScopedRowObserver&) = delete;

 private:
  RowObserver previous_;
};

// Tells the observer of this thread, if any, how many rows are written.
void NotifyRowsWritten(std::int64_t rowsWritten);

// Text of `utf8` in code page `codePage` (936, 1252, 437, 65001 ...).
// Raises a PlatformError naming `what` (e.g. "row 12, field Name") when the
// text has a character the code page cannot hold.
std::string EncodeText(std::string_view utf8, int codePage, std::string_view what);

}  // namespace zmdb::dal::formats

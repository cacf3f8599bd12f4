// Recordset text backup and restore: any open recordset written to a
// delimited text file with an optional header (note, field names, ADO type
// codes, defined sizes), and such a file read back into a new disconnected
// recordset built from that header or from field lists the caller passes.
//
// The file is written and read through the host's file table. The restore
// asks that table for the next free number, but tests the end of the file on
// number 1, as the original routine did: with no other file open the
// restore's file is number 1 and the test concerns it; when the caller holds
// number 1 open, the loop stops on that file's end instead (it ends at once,
// or reads past the restore's own end and fails with error 62), and with no
// file under number 1 it fails with error 52.
#include <optional>
#include <string>
#include <vector>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/files/backup_format.h"
#include "zmdb/files/file_table.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/host.h"

namespace zmdb {

namespace {

using rt::Variant;

// The file number whose end the restore's loop tests.
constexpr int kEndTestedFile = 1;

// The optional progress control, reached late-bound by name: a control whose
// type name is "ProgressBar" gets Max and Value, any other one Caption.
class Progress {
 public:
  // Makes a present control visible and finds out which kind it is.
  explicit Progress(const Variant& ctrl) {
    if (ctrl.IsMissing()) return;
    ctrl_ = ctrl.AsObject();
    if (!ctrl_) rt::Raise(rt::err::kObjectNotSet);
    if (!rt::CBool(ctrl_->GetProperty("Visible"))) ctrl_->SetProperty("Visible", Variant(true));
    isBar_ = ctrl_->TypeName() == "ProgressBar";
  }
  bool present() const { return ctrl_ != nullptr; }
  void SetMax(std::int32_t max) {
    if (ctrl_ && isBar_) ctrl_->SetProperty("Max", Variant(max));
  }
  void Show(std::int32_t n) {
    if (ctrl_) ctrl_->SetProperty(isBar_ ? "Value" : "Caption", Variant(n));
  }

 private:
  rt::ObjectRef ctrl_;
  bool isBar_ = false;
};

// Closes a file the method opened, when an error left it open; the lines
// written before the error stay in it.
void CloseQuietly(int& fileNumber) {
  if (fileNumber == 0) return;
  try {
    files::Close(fileNumber);
  } catch (...) {  // the method's own error is the one to report
  }
  fileNumber = 0;
}

// The first column named `name` (without regard to case), as a lookup by
// name finds it.
std::size_t ColumnNamed(const std::vector<dal::ColumnInfo>& columns, const std::string& name) {
  for (std::size_t i = 0; i < columns.size(); ++i)
    if (rt::NameEquals(columns[i].name, name)) return i;
  rt::Raise(rt::err::kAdoItemNotFound);
}

}  // namespace

bool clsZMDBFunc::dbBackupRecordset(const rt::ObjectRef& rs, const std::string& fsFile,
                                    const std::string& fsSeparator, const std::string& fsNote,
                                    bool fbNonInfo, const std::string& fsDateFmt,
                                    const Variant& Ctrl) {
  int fileNumber = 0;
  return Run(
      "dbBackupRecordset", false,
      [&](bool& result) {
        const auto recordset = records::RecordsetArg(rs);
        const std::int32_t count = recordset->RecordCount();
        if (count == 0) return;  // no file, and the last error stays as it is

        const auto& columns = recordset->columns();
        std::vector<std::string> names, types, sizes;
        for (const auto& c : columns) {
          names.push_back(c.name);
          types.push_back(std::to_string(c.adoType));
          sizes.push_back(std::to_string(c.definedSize));
        }
        // The data lines look each field up by its name, in the Fields order.
        std::vector<std::size_t> order;
        for (const auto& name : names) order.push_back(ColumnNamed(columns, name));

        Progress progress(Ctrl);
        progress.SetMax(count);

        fileNumber = files::FreeFile();
        files::OpenForOutput(fileNumber, fsFile);
        if (!fbNonInfo) {
          files::PrintLine(fileNumber, files::NoteLine(fsNote));
          files::PrintLine(fileNumber, files::HeaderLine(names, fsSeparator));
          files::PrintLine(fileNumber, files::HeaderLine(types, fsSeparator));
          files::PrintLine(fileNumber, files::HeaderLine(sizes, fsSeparator));
        }

        // A recordset whose count is unknown (-1) streams its rows: no row is
        // written, so its cursor is left where it is.
        std::optional<Variant> bookmark;
        if (count > 0) {
          if (!recordset->AtBOF() && !recordset->AtEOF()) bookmark = recordset->Bookmark();
          recordset->MoveFirst();
        }
        std::string line;
        for (std::int32_t i = 1; i <= count; ++i) {
          progress.Show(i);
          line.clear();
          for (std::size_t k = 0; k < order.size(); ++k) {
            if (k > 0) line += fsSeparator;
            files::AppendValueText(line, recordset->ValueAt(order[k]), columns[order[k]].adoType,
                                   fsDateFmt);
          }
          files::PrintLine(fileNumber, line);
          recordset->MoveNext();
        }
        const int written = fileNumber;
        fileNumber = 0;
        files::Close(written);
        result = true;
        if (bookmark) recordset->SetBookmark(*bookmark);
        // The error state after a clean run: number 0, empty texts.
        RecordError(rt::ErrorInfo{});
      },
      [&](const rt::ErrorInfo&, bool&) { CloseQuietly(fileNumber); });
}

rt::ObjectRef clsZMDBFunc::dbRestoreRecordset(const std::string& fsFile,
                                              const std::string& fsSeparator, bool fbNote,
                                              const std::string& fsFieldNames,
                                              const std::string& fsFieldTypes,
                                              const std::string& fsFieldLen, const Variant& Ctrl,
                                              const std::string& fsEncoding) {
  int fileNumber = 0;
  return Run(
      "dbRestoreRecordset", rt::ObjectRef(),
      [&](rt::ObjectRef& result) {
        const bool gbk = files::EncodingNamed(fsEncoding) == files::TextEncoding::Gbk;
        auto recordset = dal::Recordset::Create();
        fileNumber = files::FreeFile();
        files::OpenForInput(fileNumber, fsFile);
        bool first = true;
        const auto readLine = [&] {
          std::string line = files::LineInput(fileNumber);
          if (gbk) return files::GbkToUtf8(line);
          // A byte-order mark some editors put before UTF-8 text.
          if (first && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
          first = false;
          return line;
        };

        Progress progress(Ctrl);
        if (fbNote) readLine();

        // Each list comes from the caller, or else from the next line of the file.
        const auto list = [&](const std::string& given, std::string& text) {
          text = given.empty() ? std::string(files::WithoutHeaderMark(readLine())) : given;
          return files::SplitAt(text, fsSeparator);
        };
        std::string namesText, typesText, sizesText;
        const auto names = list(fsFieldNames, namesText);
        const auto types = list(fsFieldTypes, typesText);
        const auto sizes = list(fsFieldLen, sizesText);
        const std::size_t width = names.size();
        if (types.size() < width || sizes.size() < width) rt::Raise(rt::err::kSubscriptOutOfRange);
        for (std::size_t i = 0; i < width; ++i) {
          recordset->fields()->Append(std::string(names[i]),
                                      rt::CLng(Variant(std::string(types[i]))),
                                      files::DefinedSizeOf(sizes[i]), dal::ado::adFldUnspecified);
        }
        recordset->SetCursorType(dal::ado::adOpenStatic);
        recordset->SetLockType(dal::ado::adLockOptimistic);
        recordset->Open(Variant::Missing(), Variant::Missing(), -1, -1, -1);

        std::int32_t lineNumber = 0;
        std::vector<std::string_view> values;
        while (!files::Eof(kEndTestedFile)) {
          const std::string line = readLine();
          if (progress.present()) {
            ++lineNumber;
            rt::DoEvents();
            progress.Show(lineNumber);
            rt::DoEvents();
          }
          recordset->AddNew();
          files::SplitAt(line, fsSeparator, values);
          // Extra values are ignored; too few fail the restore.
          if (values.size() < width) rt::Raise(rt::err::kSubscriptOutOfRange);
          for (std::size_t j = 0; j < width; ++j)
            recordset->SetValueAt(j, Variant(std::string(values[j])));
          recordset->Update();
        }
        const int read = fileNumber;
        fileNumber = 0;
        files::Close(read);
        result = recordset;
      },
      [&](const rt::ErrorInfo&, rt::ObjectRef& result) {
        CloseQuietly(fileNumber);
        result = nullptr;
      });
}

}  // namespace zmdb

// dbExport: a query's rows copied into another database or file. The caller
// picks the target type in the export-type dialog and the file in a file
// dialog (either can be skipped); the copy is one SELECT ... INTO statement
// whose target is a driver prefix, run on the source opened through the
// data engine, which writes the target. The source table's indexes are then
// re-created on the new table where the target takes them.
#include <filesystem>
#include <string>
#include <vector>

#include "zmdb/files/export_dialog.h"
#include "zmdb/files/export_plan.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text.h"

namespace zmdb {

namespace {

using rt::Variant;
using namespace files;

constexpr const char* kTableExistsQuestion = "该表已存在,是否删除?";
// OK and Cancel, the question icon, Cancel the default button.
constexpr int kTableExistsStyle = rt::mb::kOKCancel | rt::mb::kQuestion | rt::mb::kDefaultButton2;

// The export's workspace: the engine's first workspace, taken on first use
// and kept for the thread.
Variant ExportWorkspace() {
  frame::LibraryState& lib = frame::Library();
  if (!lib.exportWorkspace) {
    const Variant workspaces = rt::GetProp(Variant(frame::Engine()), "Workspaces");
    lib.exportWorkspace = rt::ItemOf(workspaces, Variant(0)).AsObject();
  }
  return Variant(lib.exportWorkspace);
}

Variant OpenDatabase(const Variant& workspace, const std::string& name,
                     const std::string& connect) {
  return rt::CallMethod(workspace, "OpenDatabase",
                        {Variant(name), Variant(false), Variant(false), Variant(connect)});
}

std::string ConnectionProperty(const Variant& conn, const char* name) {
  const Variant item = rt::GetProp(conn, "Properties", {Variant(std::string(name))});
  return rt::CStr(rt::GetProp(item, "Value"));
}

// The source database, from the ADO connection's "Extended Properties": a
// server's ODBC text opens the server through the engine's ODBC path; any
// other text names the password of the file database in "Data Source".
// A Database (or anything but a Connection) is not a source.
Variant OpenSource(const Variant& workspace, const Variant& conn) {
  if (rt::TypeName(conn) != "Connection") {
    rt::RaiseDetailed(rt::err::kTypeMismatch,
                      "the export's source is an ADO Connection, not " + rt::TypeName(conn));
  }
  const std::string extended = ConnectionProperty(conn, "Extended Properties");
  if (rt::AsciiUpper(extended).find("SQL") != std::string::npos) {
    // The engine reaches a server by an "ODBC;" connect string; the
    // provider's text lacks the prefix.
    const bool prefixed = rt::StartsWithNoCase(extended, "ODBC;");
    return OpenDatabase(workspace, "", prefixed ? extended : "ODBC;" + extended);
  }
  const auto eq = extended.find('=');
  std::string password = eq == std::string::npos ? extended : extended.substr(eq + 1);
  password.erase(0, password.find_first_not_of(' '));
  password.erase(password.find_last_not_of(' ') + 1);
  return OpenDatabase(workspace, ConnectionProperty(conn, "Data Source"), ";PWD=" + password);
}

// The target database for `file`: by file name (Access without a connect
// string), by folder for the folder types.
Variant OpenTarget(const Variant& workspace, const DataType& type, const std::string& file) {
  const std::string name = type.path == TargetPath::Folder ? FolderOf(file) : file;
  return OpenDatabase(workspace, name, type.connect);
}

bool TargetExists(const DataType& type, const std::string& file) {
  std::error_code ec;
  return std::filesystem::exists(type.path == TargetPath::Folder ? FolderOf(file) : file, ec);
}

// Re-creates the source table's indexes on the target table: same name,
// fields, unique and primary settings. An index the target refuses is
// skipped; nothing here fails the export.
void CopyIndexes(const Variant& source, const std::string& sourceTable, const Variant& target,
                 const std::string& table) {
  try {
    const Variant from = rt::ItemOf(rt::GetProp(source, "TableDefs"), Variant(sourceTable));
    const Variant targetDefs = rt::GetProp(target, "TableDefs");
    rt::CallMethod(targetDefs, "Refresh");
    const Variant to = rt::ItemOf(targetDefs, Variant(table));
    const Variant indexes = rt::GetProp(from, "Indexes");
    const std::int32_t count = rt::CLng(rt::GetProp(indexes, "Count"));
    for (std::int32_t i = 0; i < count; ++i) {
      try {
        const Variant index = rt::ItemOf(indexes, Variant(i));
        const Variant copy = rt::CallMethod(to, "CreateIndex", {rt::GetProp(index, "Name")});
        const Variant fields = rt::GetProp(index, "Fields");
        const std::int32_t n = rt::CLng(rt::GetProp(fields, "Count"));
        for (std::int32_t k = 0; k < n; ++k) {
          const Variant name = rt::GetProp(rt::ItemOf(fields, Variant(k)), "Name");
          rt::CallMethod(rt::GetProp(copy, "Fields"), "Append",
                         {rt::CallMethod(copy, "CreateField", {name})});
        }
        rt::SetProp(copy, "Unique", rt::GetProp(index, "Unique"));
        rt::SetProp(copy, "Primary", rt::GetProp(index, "Primary"));
        rt::CallMethod(rt::GetProp(to, "Indexes"), "Append", {copy});
      } catch (...) {
      }
    }
  } catch (...) {
  }
}

// The export itself for the selected type: True when the statement ran. Its
// failures are recorded on `self` and give False; a target table that
// exists is deleted and the statement run again when the user says OK.
bool RunExport(clsZMDBFunc& self, const std::string& file, const std::string& sql,
               const Variant& conn) {
  const std::int32_t selected = frame::Library().selectedType;
  bool hourglass = false;
  try {
    const Variant workspace = ExportWorkspace();
    const DataType* type = FindDataType(selected);
    if (!type) {
      rt::RaiseDetailed(rt::err::kInvalidProcCall,
                        "no export type has the value " + std::to_string(selected));
    }
    Variant target;
    std::string into;
    if (type->path == TargetPath::Prompt) {
      target = OpenDatabase(workspace, "", type->connect);  // the driver asks for the source
      into = IntoTarget(selected, file, rt::CStr(rt::GetProp(target, "Connect")));
    } else {
      into = IntoTarget(selected, file);
      // A target that is not there yet is made by the statement itself.
      if (TargetExists(*type, file)) target = OpenTarget(workspace, *type, file);
    }
    const std::string sourceTable = SourceTableName(sql);
    const std::string table = TargetTableName(selected, file);
    const std::string statement = ExportStatement(sql, into, table);

    rt::SetMousePointer(rt::kPointerHourglass);
    hourglass = true;
    Variant source = OpenSource(workspace, conn);
    for (;;) {
      try {
        rt::CallMethod(source, "Execute", {Variant(statement)});
        break;
      } catch (...) {
        const rt::ErrorInfo e = rt::ErrorFromCurrentException();
        if (e.Number != rt::err::kTableExists) throw;
        if (rt::MsgBox(kTableExistsQuestion, kTableExistsStyle) != rt::mb::kOK) throw;
        if (target.IsEmpty()) target = OpenTarget(workspace, *type, file);
        rt::CallMethod(rt::GetProp(target, "TableDefs"), "Delete", {Variant(table)});
      }
    }
    if (selected != eDT_TEXTFILE && !sourceTable.empty()) {
      try {
        if (target.IsEmpty()) target = OpenTarget(workspace, *type, file);
        CopyIndexes(source, sourceTable, target, table);
      } catch (...) {
      }
    }
    source = Variant();
    rt::SetMousePointer(rt::kPointerDefault);
    return true;
  } catch (...) {
    const rt::ErrorInfo e = rt::ErrorFromCurrentException();
    if (hourglass) rt::SetMousePointer(rt::kPointerDefault);
    self.RecordError(e);
    return false;
  }
}

}  // namespace

bool clsZMDBFunc::dbExport(const std::string& fsSQL, const Variant& Conn,
                           const std::string& fsDefaultFile, bool fbNoFiledlg, bool fbNoTypeSelect,
                           std::int32_t fsDefType) {
  return Run(
      "dbExport", false,
      [&](bool& result) {
        frame::LibraryState& lib = frame::Library();
        if (!fbNoTypeSelect) {
          const auto form = ExportTypeDialog();
          form->defaultType = rt::CInt(Variant(fsDefType));
          form->Show();
        } else {
          lib.selectedType = fsDefType;
        }
        const std::int32_t type = lib.selectedType;
        if (type == eDT_NONE) return;
        if (type == eDT_SQLDB) {
          result = RunExport(*this, {}, fsSQL, Conn);
          return;
        }
        std::string file = fsDefaultFile;
        if (!fbNoFiledlg) {
          const rt::FileDialogView view = ExportFileDialog(type, fsDefaultFile);
          const std::optional<std::string> chosen = rt::CurrentHost().ChooseFile(view);
          if (!chosen && view.cancelError) rt::RaiseStandard(rt::err::kCancelSelected);
          file = chosen.value_or(std::string());
        }
        if (!file.empty()) result = RunExport(*this, file, fsSQL, Conn);
      },
      [&](const rt::ErrorInfo& e, bool&) {
        // A cancelled file dialog ends the export quietly; anything else
        // (a refused default type, say) is recorded.
        if (e.Number != rt::err::kCancelSelected) RecordError(e);
      });
}

}  // namespace zmdb

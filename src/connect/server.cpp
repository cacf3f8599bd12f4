// What only a server store answers: its databases, the tables of a
// connection, its clock, table rights, and stored procedures run through a
// Command. The statements differ by store; connect/dialect.h holds how.
#include "zmdb/connect/dialect.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/command.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text.h"

namespace zmdb {

namespace {
using rt::Variant;
namespace adotype = dal::typecodes::ado;

// The value of a field of the recordset's current row, by name.
Variant FieldValue(const Variant& rs, std::string_view field) {
  return rt::GetProp(rt::GetProp(rs, "Fields", {Variant(std::string(field))}), "Value");
}

// Append `value` to a String array of lower bound 1 (ReDim Preserve by one).
void Grow(rt::SafeArray& names, Variant value) {
  const std::int32_t upper = names.allocated() ? names.UBound() + 1 : 1;
  names.RedimPreserve(1, upper);
  names.at(upper) = std::move(value);
}

// The date entry of one table: its creation date as text, then "," and its
// change date only when it has one. A store that keeps no dates gives "".
std::string DateEntry(const Variant& created, const Variant& modified) {
  std::string entry = rt::TextOf(created);
  if (!modified.IsNull()) entry += "," + rt::TextOf(modified);
  return entry;
}
}  // namespace

// A private connection with the given provider lists the server's
// catalogues; they come back in the order the server gives them.
rt::SafeArray clsZMDBFunc::dbListSQLDBase(const std::string& fsServer, const std::string& fsUser,
                                          const std::string& fsPwd, const std::string& fsProvider) {
  return Run("dbListSQLDBase", rt::SafeArray(rt::VarType::String), [&](rt::SafeArray& result) {
    const auto cn = dal::Connection::Create();
    cn->SetProvider(fsProvider);
    cn->SetConnectionString(connect::CatalogueConnectionString(fsServer, fsUser, fsPwd));
    cn->Open("", "", "", -1);
    const Variant rs(rt::ObjectRef(cn->OpenSchema(dal::ado::adSchemaCatalogs)));
    while (!rt::CBool(rt::GetProp(rs, "EOF"))) {
      Grow(result, Variant(rt::CStr(FieldValue(rs, "CATALOG_NAME"))));
      rt::CallMethod(rs, "MoveNext");
    }
    rt::CallMethod(rs, "Close");
    cn->Close();
  });
}

// Despite its name this asks whether a database of that name exists. The
// listing's own handler records its failures; an empty or failed listing
// answers False here.
bool clsZMDBFunc::dbSQLTblExists(const std::string& fsTbl, const std::string& fsServer,
                                 const std::string& fsUser, const std::string& fsPwd,
                                 const std::string& fsProvider) {
  return Run("dbSQLTblExists", false, [&](bool& result) {
    const rt::SafeArray names = dbListSQLDBase(fsServer, fsUser, fsPwd, fsProvider);
    const std::int32_t upper = names.UBound();  // error 9 when nothing was listed
    if (upper <= 0) return;
    const std::string wanted = rt::AsciiUpper(fsTbl);
    // Every element is looked at, also after a match.
    for (std::int32_t i = 1; i <= upper; ++i) {
      if (rt::AsciiUpper(rt::CStr(names.at(i))) == wanted) result = true;
    }
  });
}

// Tables of Conn (every kind with bIsAll), their date entries in fsVal. The
// close of a connection that was never opened at the end fails on purpose:
// the error is recorded while the arrays set before it are what the caller
// gets.
rt::SafeArray clsZMDBFunc::dbListSQLTables(rt::Variant& fsVal, const rt::Variant& Conn,
                                           bool bIsAll) {
  return Run("dbListSQLTables", rt::SafeArray(rt::VarType::String), [&](rt::SafeArray& result) {
    const Variant rs =
        rt::CallMethod(Conn, "OpenSchema", {Variant(std::int32_t{dal::ado::adSchemaTables})});
    rt::SafeArray names(rt::VarType::String), dates(rt::VarType::String);
    while (!rt::CBool(rt::GetProp(rs, "EOF"))) {
      if (bIsAll || rt::AsciiUpper(rt::CStr(FieldValue(rs, "TABLE_TYPE"))) == "TABLE") {
        Grow(names, FieldValue(rs, "TABLE_NAME"));
        Grow(dates,
             Variant(DateEntry(FieldValue(rs, "DATE_CREATED"), FieldValue(rs, "DATE_MODIFIED"))));
      }
      rt::CallMethod(rs, "MoveNext");
    }
    if (!names.allocated()) {
      Grow(names, Variant(std::string()));
      Grow(dates, Variant(std::string()));
    }
    fsVal = Variant(std::move(dates));
    result = std::move(names);
    rt::CallMethod(rs, "Close");
    dal::Connection::Create()->Close();  // never opened: fails, and is recorded
  });
}

// The server's local date and time; the zero date when its answer is no
// date. Unguarded: every failure reaches the caller.
rt::Date clsZMDBFunc::dbGetServerDate(const rt::Variant& fConn) {
  return Run("dbGetServerDate", rt::Date{}, [&](rt::Date& result) {
    const std::string sql = connect::ServerDateStatement(connect::ServerKindOf(fConn));
    const auto rs = dal::Recordset::Create();
    rs->Open(Variant(sql), fConn, dal::ado::adOpenStatic, dal::ado::adLockReadOnly, -1);
    const Variant value = rs->ValueAt(0);
    if (rt::IsDate(value)) result = rt::CDate(value);
  });
}

// Grants the rights of Operator on a table to a user or group; silent.
bool clsZMDBFunc::dbSetSQLDBRight(const rt::ObjectRef& cn, const std::string& sTblName,
                                  std::int32_t Operator, const std::string& fsGroupOrUser) {
  return Run("dbSetSQLDBRight", false, [&](bool& result) {
    const Variant conn(cn);
    const std::string sql = connect::GrantStatement(
        connect::ServerKindOf(conn), connect::RightsText(Operator), sTblName, fsGroupOrUser);
    rt::CallMethod(conn, "Execute", {Variant(sql), Variant::Missing(), Variant(std::int32_t{-1})});
    result = true;
  });
}

// The caller's parameters become the command's input parameters (indexes 0
// to the upper bound, as the caller's arrays start at 0); one of no declared
// type goes as a string as long as its value. The hourglass shows while the
// procedure runs. A failure shows every error the connection collected, one
// box each, and leaves the last error as it was.
bool clsZMDBFunc::dbExecProc(const rt::Variant& cn, const std::string& ProcName,
                             const rt::SafeArray& InputParm, const rt::ObjectRef& RetParm) {
  return Run(
      "dbExecProc", false,
      [&](bool& result) {
        rt::SetMousePointer(rt::kPointerHourglass);
        const Variant command{rt::ObjectRef(dal::Command::Create())};
        rt::SetProp(command, "ActiveConnection", cn);
        rt::SetProp(command, "CommandType", Variant(std::int32_t{dal::ado::adCmdStoredProc}));
        rt::SetProp(command, "CommandText", Variant(ProcName));
        const std::int32_t last = InputParm.UBound();
        for (std::int32_t i = 0; i <= last; ++i) {
          const Variant& p = InputParm.at(i);
          rt::SetProp(p, "Direction", Variant(std::int32_t{dal::ado::adParamInput}));
          if (rt::CLng(rt::GetProp(p, "Type")) == adotype::adEmpty) {
            rt::SetProp(p, "Type", Variant(adotype::adVarChar));
            const auto length = rt::Utf8Length(rt::CStr(rt::GetProp(p, "Value")));
            rt::SetProp(p, "Size", Variant(static_cast<std::int32_t>(length)));
          }
        }
        const Variant parameters = rt::GetProp(command, "Parameters");
        for (std::int32_t i = 0; i <= last; ++i) {
          rt::CallMethod(parameters, "Append", {InputParm.at(i)});
        }
        if (RetParm) {
          const Variant ret(RetParm);
          rt::SetProp(ret, "Direction", Variant(std::int32_t{dal::ado::adParamOutput}));
          rt::CallMethod(parameters, "Append", {ret});
        }
        rt::CallMethod(command, "Execute",
                       {Variant::Missing(), Variant::Missing(), Variant(std::int32_t{-1})});
        result = true;
        rt::SetMousePointer(rt::kPointerDefault);
      },
      [&](const rt::ErrorInfo&, bool&) {
        // A cn without an error collection has nothing to show; the failure
        // value is the whole answer then.
        try {
          Variant conn = cn;
          dbDisplayADOError(conn);
        } catch (...) {
        }
        rt::SetMousePointer(rt::kPointerDefault);
      });
}

}  // namespace zmdb

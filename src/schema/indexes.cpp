// The index methods on both stores. On the file store they work through the
// DAO-style objects of the default database (or a Database given as Conn);
// on SQL Server through the default connection with the statements of
// schema/server, where a primary key is a named constraint forced onto the
// rows already there.
//
// Choices where the design leaves them open:
// - dbCreateIndexItem on SQL Server replaces an index of the same name and
//   leaves the table's other indexes alone (dropping and re-creating them
//   would change nothing a caller can see, at the cost of rebuilding each).
// - The deletion of rows with a Null key and the ALTER COLUMN ... NOT NULL
//   run for every primary key whatever fbRequired says: the server refuses a
//   primary key over a column that allows Nulls, so skipping them could only
//   make the constraint fail.
#include <fmt/format.h>

#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"
#include "zmdb/schema/server_indexes.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;

// Error numbers dbRemoveIndexItem tells apart on SQL Server.
constexpr std::int32_t kIndexIsConstraint = -2147217900;  // 0x80040E14
constexpr std::int32_t kNoSuchIndex = -2147217865;        // 0x80040E37

// The index name to work on: the given one, or the primary key's "pk_" + table.
std::string IndexName(const std::string& table, const std::string& index) {
  return index.empty() ? schema::PrimaryKeyName(table) : index;
}

// One DAO-style index as an index record.
rt::Record DaoIndexRecord(const Variant& index) {
  IndexRec r;
  r.Name = rt::CStr(rt::GetProp(index, "Name"));
  const Variant fields = rt::GetProp(index, "Fields");
  const std::int32_t count = rt::CLng(rt::GetProp(fields, "Count"));
  for (std::int32_t i = 0; i < count; ++i) {
    r.Fields += (i == 0 ? "" : ",") + rt::CStr(rt::GetProp(rt::ItemOf(fields, Variant(i)), "Name"));
  }
  r.Unique = rt::CBool(rt::GetProp(index, "Unique"));
  r.Primary = rt::CBool(rt::GetProp(index, "Primary"));
  r.Required = rt::CBool(rt::GetProp(index, "Required"));
  r.Clustered = rt::CBool(rt::GetProp(index, "Clustered"));
  r.IgnoreNulls = rt::CBool(rt::GetProp(index, "IgnoreNulls"));
  return r.ToRecord();
}

// The index records of the rows sp_MShelpindex returns for `table`.
std::vector<Variant> ServerIndexRecords(const Variant& conn, const std::string& table) {
  auto rs = records::OpenReadOnly(schema::IndexHelpStatement(table), conn, dal::ado::adOpenStatic);
  std::vector<Variant> out;
  const Variant row{rt::ObjectRef(rs)};
  for (; !rs->AtEOF(); rs->MoveNext()) out.emplace_back(schema::IndexRecordFromHelpRow(row));
  records::CloseAndRelease(rs);
  return out;
}

void Execute(const Variant& conn, const std::string& statement) {
  rt::CallMethod(conn, "Execute", {Variant(statement)});
}
}  // namespace

rt::Record IndexRec::ToRecord() const {
  return rt::Record("IndexRec", {{"Name", Variant(Name)},
                                 {"Fields", Variant(Fields)},
                                 {"Group", Variant(Group)},
                                 {"Unique", Variant(Unique)},
                                 {"Primary", Variant(Primary)},
                                 {"Required", Variant(Required)},
                                 {"Clustered", Variant(Clustered)},
                                 {"IgnoreNulls", Variant(IgnoreNulls)}});
}

rt::SafeArray clsZMDBFunc::dbIndexDefs(const std::string& fsTblName, const rt::Variant& Conn) {
  return Run("dbIndexDefs", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    std::vector<Variant> records;
    if (store.path == StorePath::Ado) {
      records = ServerIndexRecords(store.conn, fsTblName);
    } else if (store.path == StorePath::Dao) {
      const Variant def = rt::ItemOf(rt::GetProp(store.conn, "TableDefs"), Variant(fsTblName));
      const Variant indexes = rt::GetProp(def, "Indexes");
      const std::int32_t count = rt::CLng(rt::GetProp(indexes, "Count"));
      for (std::int32_t i = 0; i < count; ++i) {
        records.emplace_back(DaoIndexRecord(rt::ItemOf(indexes, Variant(i))));
      }
    } else {
      return;  // no store, or a Conn of another type: nothing to list
    }
    result = rt::SafeArray(rt::VarType::Record, 0, std::move(records));
  });
}

bool clsZMDBFunc::dbCreateIndexItem(const std::string& fsTblName, const std::string& fsIndexName,
                                    const std::string& fsIndexField, bool fbPrimary,
                                    bool fbRequired, bool fbClustered, bool fbUnique,
                                    bool fbIgnoreNulls, const std::string& fsGroupName,
                                    bool fbIsSQLServer) {
  return Run("dbCreateIndexItem", false, [&](bool& result) {
    const std::string name = IndexName(fsTblName, fsIndexName);
    const std::vector<std::string> columns = schema::KeyColumns(fsIndexField);
    if (fbIsSQLServer) {
      if (!defaultConnection_) return;
      const Variant cn{defaultConnection_};
      // An index of the same name is replaced.
      const rt::SafeArray existing = dbIndexDefs(fsTblName, cn);
      for (const Variant& r : existing.items()) {
        if (rt::NameEquals(rt::CStr(r.AsRecord()["Name"]), name)) {
          dbRemoveIndexItem(fsTblName, name, true);
          break;
        }
      }
      std::vector<std::string> statements;
      if (fbPrimary) {
        std::vector<std::string> types;
        for (const std::string& c : columns) types.push_back(schema::FieldSqlStr(cn, fsTblName, c));
        statements =
            schema::PrimaryKeyStatements(fsTblName, name, columns, types, fbClustered, fsGroupName);
      } else {
        statements = {
            schema::CreateIndexStatement(fsTblName, name, columns, fbClustered, fsGroupName)};
      }
      for (const std::string& s : statements) Execute(cn, s);
      result = true;
      return;
    }
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) return;
    const Variant def = rt::ItemOf(rt::GetProp(Variant(db), "TableDefs"), Variant(fsTblName));
    const Variant index = rt::CallMethod(def, "CreateIndex", {Variant(name)});
    const Variant keys = rt::GetProp(index, "Fields");
    for (const std::string& c : columns) {
      rt::CallMethod(keys, "Append", {rt::CallMethod(index, "CreateField", {Variant(c)})});
    }
    rt::SetProp(index, "Unique", Variant(fbUnique));
    rt::SetProp(index, "Primary", Variant(fbPrimary));
    rt::SetProp(index, "Required", Variant(fbRequired));
    rt::SetProp(index, "Clustered", Variant(fbClustered));
    rt::SetProp(index, "IgnoreNulls", Variant(fbIgnoreNulls));
    rt::CallMethod(rt::GetProp(def, "Indexes"), "Append", {index});
    result = true;
  });
}

// Its own handler: each statement's error is looked at in turn. On SQL
// Server an index that is a constraint is dropped as one, a missing index
// counts as dropped, and any other failure is shown and recorded.
bool clsZMDBFunc::dbRemoveIndexItem(const std::string& fsTblName, const std::string& fsIndexName,
                                    bool fbIsSQLServer) {
  return Run("dbRemoveIndexItem", false, [&](bool& result) {
    const std::string name = IndexName(fsTblName, fsIndexName);
    ResumeNext step;
    if (!fbIsSQLServer) {
      const rt::ObjectRef& db = frame::Library().defaultDatabase;
      if (!db) return;
      step([&] {
        const Variant def = rt::ItemOf(rt::GetProp(Variant(db), "TableDefs"), Variant(fsTblName));
        rt::CallMethod(rt::GetProp(def, "Indexes"), "Delete", {Variant(name)});
      });
      result = step.err().Number == 0;
      return;
    }
    if (!defaultConnection_) return;
    const Variant cn{defaultConnection_};
    step([&] { Execute(cn, schema::DropIndexStatement(fsTblName, name)); });
    const rt::ErrorInfo dropped = step.err();
    if (dropped.Number == kIndexIsConstraint) {
      ResumeNext retry;
      retry([&] { Execute(cn, schema::DropConstraintStatement(fsTblName, name)); });
      result = retry.err().Number == 0;
    } else if (dropped.Number == 0 || dropped.Number == kNoSuchIndex) {
      result = true;
    } else {
      rt::MsgBox(
          fmt::format("mADODB.Execute {} Error!", schema::DropIndexStatement(fsTblName, name)),
          rt::mb::kCritical);
      RecordError(dropped);
    }
  });
}

}  // namespace zmdb

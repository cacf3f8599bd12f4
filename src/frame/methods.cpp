// The method table and the late-bound call path. Each entry is written once:
// place in the type library (the dispatch id is 0x60030000 plus the place),
// result type, guard kind, arguments, and the C++ method that serves it.
#include "zmdb/frame/methods.h"

#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"

namespace zmdb::frame {

namespace {

using Variant = rt::Variant;

// ---- Conversions between Variants and C++ parameter and result types ----

template <class T>
T FromVariant(const Variant& v) {
  if constexpr (std::is_same_v<T, std::string>) {
    return rt::CStr(v);
  } else if constexpr (std::is_same_v<T, bool>) {
    return rt::CBool(v);
  } else if constexpr (std::is_same_v<T, std::int16_t>) {
    return rt::CInt(v);
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return rt::CLng(v);
  } else if constexpr (std::is_same_v<T, double>) {
    return rt::CDbl(v);
  } else if constexpr (std::is_same_v<T, rt::Date>) {
    return rt::CDate(v);
  } else if constexpr (std::is_same_v<T, Variant>) {
    return v;
  } else if constexpr (std::is_same_v<T, rt::ObjectRef>) {
    if (v.IsMissing() || v.IsEmpty()) return nullptr;
    return v.AsObject();
  } else if constexpr (std::is_same_v<T, rt::SafeArray>) {
    return v.AsArray();
  } else {
    static_assert(sizeof(T) == 0, "no conversion from Variant to this parameter type");
  }
}

Variant ToVariant(const ErrStruct& e) {
  return Variant(rt::Record("ErrStruct", {{"Number", Variant(e.Number)},
                                          {"Description", Variant(e.Description)},
                                          {"Source", Variant(e.Source)}}));
}
template <class T>
Variant ToVariant(const T& v) {
  return Variant(v);
}

// A C++ parameter declared as a non-const reference is a by-reference
// argument: its value after the call goes back to the caller.
template <class P>
constexpr bool kWritesBack =
    std::is_lvalue_reference_v<P> && !std::is_const_v<std::remove_reference_t<P>>;

template <class R, class Fn, class... Ps, std::size_t... I>
Variant CallWith(clsZMDBFunc& o, Fn fn, std::vector<Variant>& args, std::index_sequence<I...>) {
  std::tuple<std::decay_t<Ps>...> values{FromVariant<std::decay_t<Ps>>(args[I])...};
  Variant result;
  if constexpr (std::is_void_v<R>) {
    (o.*fn)(std::get<I>(values)...);
  } else {
    result = ToVariant((o.*fn)(std::get<I>(values)...));
  }
  (
      [&] {
        if constexpr (kWritesBack<Ps>) args[I] = ToVariant(std::get<I>(values));
      }(),
      ...);
  return result;
}

template <class R, class... Ps>
Invoker Bind(R (clsZMDBFunc::*fn)(Ps...)) {
  return [fn](clsZMDBFunc& o, std::vector<Variant>& args) {
    if (args.size() != sizeof...(Ps)) rt::Raise(rt::err::kWrongArgCount);
    return CallWith<R, decltype(fn), Ps...>(o, fn, args, std::index_sequence_for<Ps...>{});
  };
}

template <class R, class... Ps>
Invoker Bind(R (clsZMDBFunc::*fn)(Ps...) const) {
  return [fn](clsZMDBFunc& o, std::vector<Variant>& args) {
    if (args.size() != sizeof...(Ps)) rt::Raise(rt::err::kWrongArgCount);
    return CallWith<R, decltype(fn), Ps...>(o, fn, args, std::index_sequence_for<Ps...>{});
  };
}

// ---- Table-writing shorthands ----

using G = GuardKind;

ArgSpec In(std::string_view name, ArgType type) {
  return {name, type, false, false, {}};
}
ArgSpec Ref(std::string_view name, ArgType type) {
  return {name, type, false, true, {}};
}
ArgSpec Opt(std::string_view name, ArgType type, std::optional<Variant> def = {}) {
  return {name, type, true, false, std::move(def)};
}
ArgSpec OptRef(std::string_view name, ArgType type, std::optional<Variant> def = {}) {
  return {name, type, true, true, std::move(def)};
}
Variant B(bool b) {
  return Variant(b);
}
Variant L(std::int32_t l) {
  return Variant(l);
}
Variant S(const char* s) {
  return Variant(s);
}

constexpr std::int32_t kDispBase = 0x60030000;

// Where a method lives: its subsystem folder and source file; for a method
// not built yet, the file it will be written in and what it is waiting for.
struct Home {
  std::string_view subsystem;
  std::string_view source;
  std::string_view needs = {};
};

// Built.
constexpr Home kErrors{"frame", "src/frame/errors.cpp"};
constexpr Home kConnections{"connect", "src/connect/connections.cpp"};
constexpr Home kConnStrings{"connect", "src/connect/methods.cpp"};
constexpr Home kProbes{"schema", "src/schema/probes.cpp"};
constexpr Home kSingle{"records", "src/records/single.cpp"};
constexpr Home kMaxId{"records", "src/records/maxid.cpp"};
constexpr Home kWorking{"records", "src/records/working.cpp"};
constexpr Home kCopying{"records", "src/records/copying.cpp"};
constexpr Home kNulls{"records", "src/records/nulls.cpp"};
constexpr Home kFabricated{"records", "src/records/fabricated.cpp"};
constexpr Home kTypes{"types", "src/types/methods.cpp"};
constexpr Home kSqlconv{"sqlconv", "src/sqlconv/methods.cpp"};
constexpr Home kTables{"schema", "src/schema/tables.cpp"};
constexpr Home kServer{"connect", "src/connect/server.cpp"};
constexpr Home kBackup{"files", "src/files/backup.cpp"};
constexpr Home kCreate{"connect", "src/connect/create.cpp"};
constexpr Home kLists{"ui", "src/ui/lists.cpp"};
constexpr Home kFields{"schema", "src/schema/fields.cpp"};
constexpr Home kIndexes{"schema", "src/schema/indexes.cpp"};
constexpr Home kRelations{"schema", "src/schema/relations.cpp"};
constexpr Home kQueries{"schema", "src/schema/queries.cpp"};
constexpr Home kListings{"schema", "src/schema/listings.cpp"};
constexpr Home kStructure{"schema", "src/schema/structure.cpp"};
constexpr Home kForms{"ui", "src/ui/forms.cpp"};
constexpr Home kExport{"files", "src/files/export.cpp"};

MethodSpec M(const Home& home, int place, std::string_view name, ArgType result, GuardKind guard,
             std::vector<ArgSpec> args, Invoker invoke = {}) {
  return {name,       kDispBase + place, result,     guard, std::move(args), std::move(invoke),
          home.needs, home.subsystem,    home.source};
}

std::vector<MethodSpec> BuildTable() {
  using C = clsZMDBFunc;
  using enum ArgType;
  // Places 0 and 1 are the terminate handler and ValueOrDefault; 20, 56 and
  // 57 are private procedures (the form-text parser, RecordError,
  // ShowDebugError). They hold places in the numbering but are not methods.
  std::vector<MethodSpec> t;
  t.push_back(M(
      kLists, 2, "dbAddCtrl", Boolean, G::Recording,
      {Ref("Ctrl", Variant), In("fsFldName", String), In("sSQL", String), OptRef("Conn", Variant)},
      Bind(&C::dbAddCtrl)));
  t.push_back(M(kLists, 3, "dbAddCtrlEx", Boolean, G::Recording,
                {Ref("Ctrl", Variant), In("fsTblName", String), In("fsFldName", String),
                 Opt("fItemData", String), Opt("fsSort", String), Opt("fsCondition", String),
                 Opt("fsFilterData", String), OptRef("Conn", Variant)},
                Bind(&C::dbAddCtrlEx)));
  t.push_back(M(kLists, 4, "dbAddFieldsName", Boolean, G::Recording,
                {Ref("Ctrl", Variant), Ref("rs", Object)}, Bind(&C::dbAddFieldsName)));
  t.push_back(M(kBackup, 5, "dbBackupRecordset", Boolean, G::Recording,
                {Ref("rs", Object), In("fsFile", String), Opt("fsSeparator", String, S(",")),
                 Opt("fsNote", String), Opt("fbNonInfo", Boolean, B(false)),
                 Opt("fsDateFmt", String), OptRef("Ctrl", Variant)},
                Bind(&C::dbBackupRecordset)));
  t.push_back(
      M(kBackup, 6, "dbRestoreRecordset", Object, G::Recording,
        {In("fsFile", String), Opt("fsSeparator", String, S(",")), Opt("fbNote", Boolean, B(false)),
         Opt("fsFieldNames", String), Opt("fsFieldTypes", String), Opt("fsFieldLen", String),
         OptRef("Ctrl", Variant), Opt("fsEncoding", String)},
        Bind(&C::dbRestoreRecordset)));
  // Copying: dbCloneRecord gives a disconnected, updatable copy of rs's fields
  // and visible rows; dbCopyRecordset and dbCopyRows append rows to a table
  // (fields matched by name), all rows in one transaction on the target.
  t.push_back(M(kCopying, 7, "dbCloneRecord", Object, G::Recording, {Ref("rs", Object)},
                Bind(&C::dbCloneRecord)));
  t.push_back(M(kCopying, 8, "dbCopyRecordset", Boolean, G::Recording,
                {Ref("rs", Object), In("fsTblName", String), OptRef("Conn", Variant)},
                Bind(&C::dbCopyRecordset)));
  t.push_back(M(kCopying, 9, "dbCopyRows", Boolean, G::Recording,
                {In("fsSrcTblName", String), In("fsDstTblName", String), Opt("fsCondition", String),
                 OptRef("SrcConn", Variant), OptRef("DstConn", Variant)},
                Bind(&C::dbCopyRows)));
  // Table structure. dbCopyTblData: "INSERT INTO dst SELECT * FROM src [WHERE
  // cond]" on one connection (the default connection when missing), through
  // the dialect adapter. dbCopyTblStruct: dst on DstConn gets src's fields and
  // indexes (the primary key included) and no rows, between any two stores
  // (each Conn resolved as two-store); a type the target cannot hold is
  // refused (error 3259 naming the field) before anything is created.
  // dbCreateTblStruct: a new table from field-structure records, ADO types
  // mapped to the store's column types, the members present honoured.
  t.push_back(M(kStructure, 10, "dbCopyTblData", Boolean, G::Recording,
                {In("fsSrcTblName", String), In("fsDstTblName", String), Opt("fsCondition", String),
                 OptRef("Conn", Variant)},
                Bind(&C::dbCopyTblData)));
  t.push_back(M(kStructure, 11, "dbCopyTblStruct", Boolean, G::Recording,
                {In("fsSrcTblName", String), In("fsDstTblName", String), OptRef("SrcConn", Variant),
                 OptRef("DstConn", Variant)},
                Bind(&C::dbCopyTblStruct)));
  t.push_back(M(kStructure, 12, "dbCreateTblStruct", Boolean, G::Recording,
                {In("fsTblName", String), Ref("fTFieldStruct", Array), OptRef("Conn", Variant)},
                Bind(&C::dbCreateTblStruct)));
  t.push_back(M(kFabricated, 13, "dbCreateVRecord", Object, G::Unguarded,
                {Ref("fTFieldStruct", Array)}, Bind(&C::dbCreateVRecord)));
  t.push_back(M(kStructure, 14, "dbGetFieldSQLStr", String, G::Recording,
                {In("fsTblName", String), In("fsFldName", String), OptRef("Conn", Variant)},
                Bind(&C::dbGetFieldSQLStr)));
  t.push_back(M(kNulls, 15, "dbGetFieldsName", String, G::Unguarded,
                {Ref("fsTblName", String), Ref("Conn", Variant), OptRef("fsFields", String, S("*")),
                 OptRef("fsRetType", String)},
                Bind(static_cast<std::string (C::*)(const std::string&, const rt::Variant&,
                                                    const std::string&, std::string&)>(
                    &C::dbGetFieldsName))));
  t.push_back(M(kNulls, 16, "dbSetNullToZero", Boolean, G::Silent,
                {Ref("fsTblName", String), Ref("Conn", Variant), OptRef("fsFields", String, S("*")),
                 OptRef("fsCondition", String), OptRef("fbOnlyNumeric", Boolean, B(false))},
                Bind(&C::dbSetNullToZero)));
  // dbGetFormCtlInfo: the controls of a form description file as records,
  // from index 1; fsEncoding as for dbRestoreRecordset.
  t.push_back(M(kForms, 17, "dbGetFormCtlInfo", Array, G::Recording,
                {In("fsFormFile", String), Opt("fsCtlType", String), Opt("fsEncoding", String)},
                Bind(&C::dbGetFormCtlInfo)));
  t.push_back(M(kForms, 18, "LoSplitVBLineInfo", Boolean, G::Silent,
                {In("fsLine", String), Ref("fsKey", String), Ref("fsValue", String)},
                Bind(&C::LoSplitVBLineInfo)));
  // dbGetTblStruct: the fields as field-structure records in ordinal order,
  // from index 1 (two-store resolution; unallocated when nothing is read).
  t.push_back(M(kStructure, 19, "dbGetTblStruct", Array, G::Recording,
                {In("fsTblName", String), OptRef("Conn", Variant)}, Bind(&C::dbGetTblStruct)));
  t.push_back(M(kWorking, 21, "dbCreateRecord", Boolean, G::Recording,
                {Ref("TFieldRec", Array), OptRef("Conn", Variant)}, Bind(&C::dbCreateRecord)));
  t.push_back(M(kWorking, 22, "dbSetRecordset", Boolean, G::Silent,
                {In("sSource", String), Opt("CursorType", Long), Opt("LockType", Long)},
                Bind(&C::dbSetRecordset)));
  t.push_back(
      M(kWorking, 23, "dbCloseRecordset", Boolean, G::Silent, {}, Bind(&C::dbCloseRecordset)));
  t.push_back(M(kWorking, 24, "dbGetRecord", Array, G::Recording,
                {In("fsTblName", String), In("fsFldName", String), Ref("flCount", Long),
                 Opt("sSQL", String), OptRef("Conn", Variant)},
                Bind(&C::dbGetRecord)));
  t.push_back(M(kSingle, 25, "dbIsExist", Boolean, G::Silent,
                {In("fsTblName", String), In("fsFldName", String), In("fItemData", String),
                 Opt("fType", Long), Opt("fsCondition", String), OptRef("Conn", Variant)},
                Bind(&C::dbIsExist)));
  t.push_back(M(kSingle, 26, "dbGetValue", Boolean, G::Silent,
                {In("fsTblName", String), In("fsFldName", String), In("fsCondition", String),
                 Ref("fItemData", String), OptRef("Conn", Variant)},
                Bind(&C::dbGetValue)));
  t.push_back(M(kSingle, 27, "dbDeleteItem", Boolean, G::Silent,
                {In("fsTblName", String), Opt("fsCondition", String), OptRef("Conn", Variant)},
                Bind(&C::dbDeleteItem)));
  t.push_back(M(kSingle, 28, "dbModifyItem", Boolean, G::Silent,
                {In("fsTblName", String), In("fsFldName", String), In("fNewItemData", String),
                 In("fsCondition", String), OptRef("Conn", Variant)},
                Bind(&C::dbModifyItem)));
  t.push_back(M(kSingle, 29, "dbRecordCounts", Long, G::Unguarded,
                {Ref("fsTblName", String), Ref("Conn", Variant), OptRef("fsCondition", String)},
                Bind(&C::dbRecordCounts)));
  t.push_back(M(kMaxId, 30, "dbGetMaxID", String, G::Recording,
                {In("fsTblName", String), Opt("fsIDFld", String, S("ID")), OptRef("Conn", Variant),
                 Opt("fbIsStr", Boolean, B(false)), Opt("flLen", Long, L(8)),
                 OptRef("bIsSQL", Boolean, B(false)), OptRef("fsConditionSQL", String, S(""))},
                Bind(&C::dbGetMaxID)));
  // "dbOpenDateBase" keeps the interface's spelling on purpose.
  t.push_back(M(kConnections, 31, "dbOpenDateBase", Boolean, G::Silent,
                {Ref("fsFilename", String), Ref("fsConnStr", String)}, Bind(&C::dbOpenDateBase)));
  t.push_back(M(kConnections, 32, "dbSetConnect", Boolean, G::Recording,
                {Ref("fsConnStr", String), In("IsDAO", Boolean), Opt("CursorLocation", Long),
                 OptRef("fConn", Variant)},
                Bind(&C::dbSetConnect)));
  t.push_back(M(kConnections, 33, "dbGetConnect", Object, G::Recording, {In("IsDAO", Boolean)},
                Bind(&C::dbGetConnect)));
  t.push_back(M(kConnections, 34, "dbCloseConnect", Boolean, G::Recording, {In("IsDAO", Boolean)},
                Bind(&C::dbCloseConnect)));
  t.push_back(M(kConnections, 35, "dbIsSQLConnect", Boolean, G::Unguarded, {Ref("Conn", Variant)},
                Bind(&C::dbIsSQLConnect)));
  t.push_back(M(kConnStrings, 36, "dbGetConnString", String, G::Recording, {In("IsDAO", Boolean)},
                Bind(&C::dbGetConnString)));
  t.push_back(M(kConnStrings, 37, "dbGetJetConnect", String, G::Unguarded,
                {Ref("fsDatabase", String), OptRef("fsPasswd", String),
                 Opt("fbIsShape", Boolean, B(false)), OptRef("fsJetVersion", String, S("3.51"))},
                Bind(&C::dbGetJetConnect)));
  t.push_back(M(kConnStrings, 38, "dbGetSQLConnect", String, G::Unguarded,
                {Ref("fsUser", String), Ref("fsDatabase", String), OptRef("fsPasswd", String),
                 OptRef("fsServer", String), Opt("fbIsShape", Boolean, B(false)),
                 OptRef("fsDSN", String), Opt("fiType", Long, L(1))},
                Bind(&C::dbGetSQLConnect)));
  t.push_back(
      M(kCreate, 39, "dbCreateDBItem", Boolean, G::Recording,
        {Ref("PathFileName", String), OptRef("fsPasswd", String), OptRef("fsNewDBFile", String),
         Opt("fbMsgWarn", Boolean), Opt("fbSQL", Boolean, B(false)), Opt("fsUserName", String),
         Opt("fsServer", String), Opt("fsDatabase", String),
         Opt("fsLang", String, S(";LANGID=0x0804;CP=936;COUNTRY=0"))},
        Bind(&C::dbCreateDBItem)));
  t.push_back(M(kCreate, 40, "dbCreateDBADOX", Boolean, G::ResumeNext, {Ref("strDBPath", String)},
                Bind(&C::dbCreateDBADOX)));
  t.push_back(M(kCreate, 41, "dbCloseDBItem", Boolean, G::Recording, {}, Bind(&C::dbCloseDBItem)));
  t.push_back(M(kListings, 42, "dbTableDefs", Array, G::Recording,
                {OptRef("Conn", Variant), Opt("fbSystem", Boolean, B(false))},
                Bind(&C::dbTableDefs)));
  t.push_back(M(kListings, 43, "dbQueryDefs", Array, G::Recording, {OptRef("Conn", Variant)},
                Bind(&C::dbQueryDefs)));
  t.push_back(M(kListings, 44, "dbProperties", Array, G::Recording,
                {In("fsTblName", String), Opt("fsFldName", String), OptRef("Conn", Variant)},
                Bind(&C::dbProperties)));
  t.push_back(M(kListings, 45, "dbFields", Array, G::Recording,
                {In("fsTblName", String), OptRef("Conn", Variant)}, Bind(&C::dbFields)));
  t.push_back(M(kProbes, 46, "dbQueryExists", Boolean, G::Silent,
                {In("fsQryName", String), OptRef("Conn", Variant),
                 OptRef("fbIsSQLServer", Boolean, B(false))},
                Bind(&C::dbQueryExists)));
  t.push_back(M(kProbes, 47, "dbTableExists", Boolean, G::OwnHandler,
                {In("fsTblName", String), OptRef("Conn", Variant)}, Bind(&C::dbTableExists)));
  t.push_back(M(kProbes, 48, "dbFieldExists", Boolean, G::Silent,
                {In("fsTblName", String), In("fsFldName", String), OptRef("Conn", Variant)},
                Bind(&C::dbFieldExists)));
  t.push_back(
      M(kProbes, 49, "dbIndexExists", Boolean, G::Silent,
        {In("fsTblName", String), Opt("fsIndexName", String), Opt("fbIsSQLServer", Boolean)},
        Bind(&C::dbIndexExists)));
  // "VirturlIndex" keeps the interface's spelling on purpose.
  t.push_back(M(kTables, 50, "dbCreateTableItem", Boolean, G::Recording,
                {In("fsTblName", String), Opt("TblConn", String), Opt("bSavePasswd", Boolean),
                 Opt("VirturlIndex", String), OptRef("Conn", Variant)},
                Bind(&C::dbCreateTableItem)));
  t.push_back(M(kTables, 51, "dbCreateTableOver", Boolean, G::Recording, {In("fsTblName", String)},
                Bind(&C::dbCreateTableOver)));
  t.push_back(M(kTables, 52, "dbSetTableItem", Boolean, G::Recording, {In("fsTblName", String)},
                Bind(&C::dbSetTableItem)));
  t.push_back(M(kTables, 53, "dbCloseTable", Boolean, G::Recording, {In("fsTblName", String)},
                Bind(&C::dbCloseTable)));
  t.push_back(M(kTables, 54, "dbRemoveTableItem", Boolean, G::Recording,
                {In("fsTblName", String), Opt("fbIsSQLServer", Boolean), OptRef("Conn", Variant)},
                Bind(&C::dbRemoveTableItem)));
  t.push_back(M(kTables, 55, "dbModifyTableName", Boolean, G::Recording,
                {In("fsOldName", Variant), In("fsNewName", String), OptRef("Conn", Variant)},
                Bind(&C::dbModifyTableName)));
  t.push_back(M(kErrors, 58, "dbGetLastError", Record, G::Unguarded, {}, Bind(&C::dbGetLastError)));
  t.push_back(M(kErrors, 59, "dbClearError", Void, G::Unguarded, {}, Bind(&C::dbClearError)));
  t.push_back(M(kErrors, 60, "dbSetDebug", Variant, G::Unguarded, {In("fbDebug", Boolean)},
                Bind(&C::dbSetDebug)));
  t.push_back(M(kErrors, 61, "dbSetAppTitle", Void, G::Unguarded, {In("fsAppTitle", String)},
                Bind(&C::dbSetAppTitle)));
  t.push_back(M(kErrors, 62, "dbDisplayADOError", Void, G::Unguarded, {Ref("cn", Variant)},
                Bind(&C::dbDisplayADOError)));
  t.push_back(M(kFields, 63, "dbCreateFieldItem", Boolean, G::Recording,
                {In("fsTblName", String), In("fsFldName", String), Opt("flType", Long, L(4)),
                 Opt("flSize", Long), Opt("flAttributes", Long), Opt("fsDefaultValue", String),
                 Opt("fiOrdinalPosition", Integer), Opt("fbAllowZeroLength", Boolean, B(true)),
                 Opt("fbRequired", Boolean, B(false))},
                Bind(&C::dbCreateFieldItem)));
  t.push_back(M(kFields, 64, "dbRemoveFieldItem", Boolean, G::Recording,
                {In("fsTblName", String), In("fsFldName", String), OptRef("bIsAdodb", Boolean)},
                Bind(&C::dbRemoveFieldItem)));
  t.push_back(M(kFields, 65, "dbModifyFieldName", Boolean, G::Recording,
                {In("fsTblName", String), In("fsOldName", Variant), In("fsNewName", String),
                 OptRef("Conn", Variant)},
                Bind(&C::dbModifyFieldName)));
  t.push_back(M(kIndexes, 66, "dbIndexDefs", Array, G::Recording,
                {In("fsTblName", String), OptRef("Conn", Variant)}, Bind(&C::dbIndexDefs)));
  t.push_back(M(kIndexes, 67, "dbCreateIndexItem", Boolean, G::Recording,
                {In("fsTblName", String), Opt("fsIndexName", String),
                 Opt("fsIndexField", String, S("ID")), Opt("fbPrimary", Boolean, B(true)),
                 Opt("fbRequired", Boolean, B(true)), Opt("fbClustered", Boolean, B(true)),
                 Opt("fbUnique", Boolean, B(true)), Opt("fbIgnoreNulls", Boolean, B(false)),
                 Opt("fsGroupName", String, S("PRIMARY")), Opt("fbIsSQLServer", Boolean, B(false))},
                Bind(&C::dbCreateIndexItem)));
  t.push_back(
      M(kIndexes, 68, "dbRemoveIndexItem", Boolean, G::OwnHandler,
        {In("fsTblName", String), Opt("fsIndexName", String), Opt("fbIsSQLServer", Boolean)},
        Bind(&C::dbRemoveIndexItem)));
  t.push_back(M(kRelations, 69, "dbCreateRelationItem", Boolean, G::Recording,
                {In("fsFldName", String), Opt("fsTblName", String), Opt("fsForeignTable", String),
                 Opt("fAttributes", Long), Opt("fsForeignName", String), Opt("fsName", String)},
                Bind(&C::dbCreateRelationItem)));
  t.push_back(M(kQueries, 70, "dbCreateQueryItem", Boolean, G::Recording,
                {In("fsQueryName", String), In("fSQLText", String), Opt("fbIsSQLServer", Boolean),
                 OptRef("Conn", Variant)},
                Bind(&C::dbCreateQueryItem)));
  t.push_back(M(kQueries, 71, "dbRemoveQueryItem", Boolean, G::Recording,
                {In("fsQueryName", String), Opt("fbIsSQLServer", Boolean), OptRef("Conn", Variant)},
                Bind(&C::dbRemoveQueryItem)));
  t.push_back(M(kServer, 72, "dbListSQLDBase", Array, G::Recording,
                {In("fsServer", String), Ref("fsUser", String), Ref("fsPwd", String),
                 OptRef("fsProvider", String, S("SQLOLEDB"))},
                Bind(&C::dbListSQLDBase)));
  t.push_back(M(kServer, 73, "dbSQLTblExists", Boolean, G::Silent,
                {Ref("fsTbl", String), Ref("fsServer", String), Ref("fsUser", String),
                 Ref("fsPwd", String), OptRef("fsProvider", String, S("SQLOLEDB"))},
                Bind(&C::dbSQLTblExists)));
  t.push_back(M(
      kServer, 74, "dbExecProc", Boolean, G::OwnHandler,
      {In("cn", Variant), Ref("ProcName", String), Ref("InputParm", Array), Opt("RetParm", Object)},
      Bind(&C::dbExecProc)));
  t.push_back(M(kServer, 75, "dbListSQLTables", Array, G::Recording,
                {Ref("fsVal", Variant), In("Conn", Variant), Opt("bIsAll", Boolean, B(false))},
                Bind(&C::dbListSQLTables)));
  t.push_back(M(kServer, 76, "dbGetServerDate", Date, G::Unguarded, {In("fConn", Variant)},
                Bind(&C::dbGetServerDate)));
  t.push_back(M(kServer, 77, "dbSetSQLDBRight", Boolean, G::Silent,
                {In("cn", Object), Ref("sTblName", String), In("Operator", Long),
                 OptRef("fsGroupOrUser", String, S("Public"))},
                Bind(&C::dbSetSQLDBRight)));
  t.push_back(
      M(kSqlconv, 78, "dbCSql", String, G::Unguarded, {Ref("fsSQL", String)}, Bind(&C::dbCSql)));
  t.push_back(
      M(kExport, 79, "dbExport", Boolean, G::OwnHandler,
        {Ref("fsSQL", String), Ref("Conn", Variant), Opt("fsDefaultFile", String),
         Opt("fbNoFiledlg", Boolean), Opt("fbNoTypeSelect", Boolean), Opt("fsDefType", Long)},
        Bind(&C::dbExport)));
  t.push_back(M(kTypes, 80, "dbGetFldTypeDesc", String, G::Unguarded,
                {In("iType", Long), Opt("bIsADO", Boolean, B(true))}, Bind(&C::dbGetFldTypeDesc)));
  t.push_back(M(kTypes, 81, "dbAdo2DaoType", Long, G::Unguarded, {Ref("flType", Long)},
                Bind(&C::dbAdo2DaoType)));
  t.push_back(M(kTypes, 82, "dbDao2AdoType", Long, G::Unguarded, {Ref("flType", Long)},
                Bind(&C::dbDao2AdoType)));
  t.push_back(M(kTypes, 83, "dbGetHXType", String, G::Unguarded,
                {Ref("flType", Long), OptRef("fbIsDAO", Boolean, B(true))}, Bind(&C::dbGetHXType)));
  t.push_back(M(kTypes, 84, "dbGetFieldType", String, G::Unguarded,
                {In("flType", Long), OptRef("fbIsAdo", Boolean, B(true))},
                Bind(&C::dbGetFieldType)));
  t.push_back(M(kTypes, 85, "dbGetDAODesc", String, G::Unguarded, {Ref("feDAO", Long)},
                Bind(&C::dbGetDAODesc)));
  return t;
}

}  // namespace

const std::vector<MethodSpec>& Methods() {
  static const std::vector<MethodSpec> table = BuildTable();
  return table;
}

const MethodSpec* FindMethod(std::string_view name) {
  static const std::unordered_map<std::string, const MethodSpec*> index = [] {
    std::unordered_map<std::string, const MethodSpec*> m;
    for (const MethodSpec& spec : Methods()) m.emplace(rt::AsciiLower(spec.name), &spec);
    return m;
  }();
  const auto it = index.find(rt::AsciiLower(name));
  return it == index.end() ? nullptr : it->second;
}

Variant CoerceTo(const Variant& v, ArgType type) {
  switch (type) {
    case ArgType::Boolean:
      return Variant(rt::CBool(v));
    case ArgType::Integer:
      return Variant(rt::CInt(v));
    case ArgType::Long:
      return Variant(rt::CLng(v));
    case ArgType::Date:
      return Variant(rt::CDate(v));
    case ArgType::String:
      return Variant(rt::CStr(v));
    case ArgType::Object:
      if (v.IsEmpty()) return Variant(rt::ObjectRef());
      if (!v.IsObject()) rt::Raise(rt::err::kTypeMismatch);
      return v;
    case ArgType::Array:
      if (!v.IsArray()) rt::Raise(rt::err::kTypeMismatch);
      return v;
    case ArgType::Record:
      if (!v.IsRecord()) rt::Raise(rt::err::kTypeMismatch);
      return v;
    case ArgType::Void:
    case ArgType::Variant:
      return v;
  }
  return v;
}

namespace {
// The value an omitted optional argument takes.
Variant OmittedValue(const ArgSpec& arg) {
  if (arg.defaultValue) return *arg.defaultValue;
  switch (arg.type) {
    case ArgType::Boolean:
      return Variant(false);
    case ArgType::Integer:
      return Variant(std::int16_t{0});
    case ArgType::Long:
      return Variant(std::int32_t{0});
    case ArgType::Date:
      return Variant(rt::Date{});
    case ArgType::String:
      return Variant(std::string());
    case ArgType::Object:
      return Variant(rt::ObjectRef());
    case ArgType::Array:
      return Variant(rt::SafeArray());
    case ArgType::Variant:
      return Variant::Missing();
    case ArgType::Record:
    case ArgType::Void:
      break;
  }
  return Variant::Missing();
}
}  // namespace

std::vector<Variant> PrepareArguments(const MethodSpec& method,
                                      const std::vector<std::optional<Variant>>& given) {
  if (given.size() > method.args.size()) rt::Raise(rt::err::kWrongArgCount);
  std::vector<Variant> args;
  args.reserve(method.args.size());
  for (std::size_t i = 0; i < method.args.size(); ++i) {
    const ArgSpec& spec = method.args[i];
    const bool present = i < given.size() && given[i].has_value();
    if (!present) {
      if (!spec.optional) {
        rt::Raise(rt::err::kArgNotOptional, "Argument not optional: " + std::string(spec.name) +
                                                " of " + std::string(method.name));
      }
      args.push_back(OmittedValue(spec));
    } else if (spec.type == ArgType::Variant) {
      args.push_back(*given[i]);  // a Variant argument takes the value as it is
    } else {
      args.push_back(CoerceTo(*given[i], spec.type));
    }
  }
  return args;
}

Variant Invoke(clsZMDBFunc& object, const MethodSpec& method, std::vector<Variant>& args) {
  if (!method.invoke) {
    rt::Raise(
        rt::err::kNotSupported,
        std::string(method.name) + " is not available yet: it needs " + std::string(method.needs));
  }
  return method.invoke(object, args);
}

}  // namespace zmdb::frame

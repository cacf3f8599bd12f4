// clsZMDBFunc: the component object. Every public method follows one frame:
// it starts from its failure value, runs its work under the guard kind the
// method table gives it, resolves its connection by one of two rules, and
// hands back the value as it stands. The methods of each subsystem are defined
// in that subsystem's folder; this header declares them all.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zmdb/frame/guard.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/variant.h"

namespace zmdb {

// The last error, as dbGetLastError returns it (members in this order).
struct ErrStruct {
  std::int32_t Number = 0;
  std::string Description;
  std::string Source;
  bool operator==(const ErrStruct&) const = default;
};

// One field of one row, as the working recordset methods take it (members in
// this order). Late-bound callers pass it as a record named "FieldRec".
struct FieldRec {
  std::string TableName;
  std::string TabelDesc;  // spelled so in the interface, kept on purpose
  std::string FieldName;
  std::string FieldDesc;
  std::int32_t FieldSize = 0;
  std::int32_t FieldType = 0;
  rt::Variant FieldVal;

  rt::Record ToRecord() const;
  // From a record: the members it has, by name without regard to case (a
  // member it lacks stays empty); error 13 when `v` holds no record.
  static FieldRec FromVariant(const rt::Variant& v);
};

// One index of a table, as dbIndexDefs returns it (members in this order).
// Late-bound callers receive it as a record named "IndexRec".
struct IndexRec {
  std::string Name;
  std::string Fields;  // the key columns joined with ",", in key order
  std::string Group;   // the file group (SQL Server only)
  bool Unique = false;
  bool Primary = false;
  bool Required = false;
  bool Clustered = false;
  bool IgnoreNulls = false;

  rt::Record ToRecord() const;
};

// The store a two-store method works on, as resolved from its Conn argument.
enum class StorePath {
  None,     // Conn missing and no default database: do nothing
  Ado,      // an object of type "Connection"
  Dao,      // an object of type "Database", or the default database
  Catalog,  // an object of type "Catalog" (only where a method accepts one)
  Other,    // any other type: the method skips its work
};

struct ResolvedStore {
  StorePath path = StorePath::None;
  rt::Variant conn;  // the connection object to work on (empty for None/Other)
};

class clsZMDBFunc {
 public:
  clsZMDBFunc();
  // Teardown: unload the export dialog, then release the working recordset,
  // the default connection, the default database, the default workspace, the
  // current table definition and the data engine, each step ignoring errors.
  ~clsZMDBFunc();
  clsZMDBFunc(const clsZMDBFunc&) = delete;
  clsZMDBFunc& operator=(const clsZMDBFunc&) = delete;

  // ---- Error capture and reporting ----
  ErrStruct dbGetLastError() const;
  void dbClearError();
  rt::Variant dbSetDebug(bool fbDebug);
  void dbSetAppTitle(const std::string& fsAppTitle);
  void dbDisplayADOError(rt::Variant& cn);

  // ---- Connection strings ----
  std::string dbGetJetConnect(const std::string& fsDatabase, const std::string& fsPasswd = "",
                              bool fbIsShape = false, const std::string& fsJetVersion = "3.51");
  std::string dbGetSQLConnect(const std::string& fsUser, const std::string& fsDatabase,
                              const std::string& fsPasswd = "", const std::string& fsServer = "",
                              bool fbIsShape = false, const std::string& fsDSN = "",
                              std::int32_t fiType = 1);
  std::string dbGetConnString(bool IsDAO);

  // ---- Opening and closing connections ----
  // "dbOpenDateBase" keeps the interface's spelling on purpose.
  bool dbOpenDateBase(const std::string& fsFilename, const std::string& fsConnStr);
  bool dbSetConnect(const std::string& fsConnStr, bool IsDAO, std::int32_t CursorLocation = 0,
                    const rt::Variant& fConn = rt::Variant::Missing());
  rt::ObjectRef dbGetConnect(bool IsDAO);
  bool dbCloseConnect(bool IsDAO);
  bool dbIsSQLConnect(const rt::Variant& Conn);

  // ---- Database creation ----
  // fsNewDBFile receives the file name actually used for a file database.
  bool dbCreateDBItem(const std::string& PathFileName, const std::string& fsPasswd,
                      std::string& fsNewDBFile, bool fbMsgWarn = false, bool fbSQL = false,
                      const std::string& fsUserName = "", const std::string& fsServer = "",
                      const std::string& fsDatabase = "",
                      const std::string& fsLang = ";LANGID=0x0804;CP=936;COUNTRY=0");
  bool dbCreateDBADOX(const std::string& strDBPath);
  bool dbCloseDBItem();

  // ---- Existence probes ----
  bool dbQueryExists(const std::string& fsQryName, const rt::Variant& Conn = rt::Variant::Missing(),
                     bool fbIsSQLServer = false);
  bool dbTableExists(const std::string& fsTblName,
                     const rt::Variant& Conn = rt::Variant::Missing());
  bool dbFieldExists(const std::string& fsTblName, const std::string& fsFldName,
                     const rt::Variant& Conn = rt::Variant::Missing());
  bool dbIndexExists(const std::string& fsTblName, const std::string& fsIndexName = "",
                     bool fbIsSQLServer = false);

  // ---- Tables ----
  // "VirturlIndex" keeps the interface's spelling on purpose.
  bool dbCreateTableItem(const std::string& fsTblName, const std::string& TblConn = "",
                         bool bSavePasswd = false, const std::string& VirturlIndex = "",
                         const rt::Variant& Conn = rt::Variant::Missing());
  bool dbCreateTableOver(const std::string& fsTblName);
  bool dbSetTableItem(const std::string& fsTblName);
  bool dbCloseTable(const std::string& fsTblName);
  bool dbRemoveTableItem(const std::string& fsTblName, bool fbIsSQLServer = false,
                         const rt::Variant& Conn = rt::Variant::Missing());
  bool dbModifyTableName(const rt::Variant& fsOldName, const std::string& fsNewName,
                         const rt::Variant& Conn = rt::Variant::Missing());
  // ---- Field renames ----
  bool dbModifyFieldName(const std::string& fsTblName, const rt::Variant& fsOldName,
                         const std::string& fsNewName,
                         const rt::Variant& Conn = rt::Variant::Missing());
  // ---- Server catalogue, rights and procedures ----
  // The server's databases (1-based; unallocated when it has none), through a
  // private connection of provider fsProvider to "Data Source=fsServer;...".
  rt::SafeArray dbListSQLDBase(const std::string& fsServer, const std::string& fsUser,
                               const std::string& fsPwd,
                               const std::string& fsProvider = "SQLOLEDB");
  // Whether the server has a database fsTbl (compared without regard to case).
  bool dbSQLTblExists(const std::string& fsTbl, const std::string& fsServer,
                      const std::string& fsUser, const std::string& fsPwd,
                      const std::string& fsProvider = "SQLOLEDB");
  // Conn's table names (every kind with bIsAll), 1-based, one empty element
  // when none; fsVal gets their "created[,modified]" date texts alike. Always
  // records the error of a closing step that fails on purpose.
  rt::SafeArray dbListSQLTables(rt::Variant& fsVal, const rt::Variant& Conn, bool bIsAll = false);
  // The server's local date and time. Unguarded.
  rt::Date dbGetServerDate(const rt::Variant& fConn);
  // GRANT the DBaseRight flags of Operator (eSELECT 1, eINSERT 2, eDELETE 4,
  // eUPDATE 8) on sTblName to fsGroupOrUser. Silent.
  bool dbSetSQLDBRight(const rt::ObjectRef& cn, const std::string& sTblName, std::int32_t Operator,
                       const std::string& fsGroupOrUser = "Public");
  // Runs ProcName on cn with InputParm (indexes 0 to the upper bound) as input
  // parameters and RetParm, when given, as an output parameter appended last.
  // On failure shows the connection's errors and answers False.
  bool dbExecProc(const rt::Variant& cn, const std::string& ProcName,
                  const rt::SafeArray& InputParm, const rt::ObjectRef& RetParm = nullptr);

  // ---- Fields ----
  // flType is a DAO type code; a Text field without a size is 20 wide.
  bool dbCreateFieldItem(const std::string& fsTblName, const std::string& fsFldName,
                         std::int32_t flType = 4, std::int32_t flSize = 0,
                         std::int32_t flAttributes = 0, const std::string& fsDefaultValue = "",
                         std::int16_t fiOrdinalPosition = 0, bool fbAllowZeroLength = true,
                         bool fbRequired = false);
  bool dbRemoveFieldItem(const std::string& fsTblName, const std::string& fsFldName,
                         bool bIsAdodb = false);

  // ---- Saved queries and views ----
  bool dbCreateQueryItem(const std::string& fsQueryName, const std::string& fSQLText,
                         bool fbIsSQLServer = false,
                         const rt::Variant& Conn = rt::Variant::Missing());
  bool dbRemoveQueryItem(const std::string& fsQueryName, bool fbIsSQLServer = false,
                         const rt::Variant& Conn = rt::Variant::Missing());

  // ---- Catalogue listings ----
  // Each answers a 1-based array, unallocated when there is nothing to list.
  // Table names (links included; system and hidden ones only with fbSystem),
  // sorted by name without regard to case.
  rt::SafeArray dbTableDefs(const rt::Variant& Conn = rt::Variant::Missing(),
                            bool fbSystem = false);
  // Saved query names (file store) or view names (server), sorted likewise.
  rt::SafeArray dbQueryDefs(const rt::Variant& Conn = rt::Variant::Missing());
  // The table's properties, or its field's when fsFldName is given, as
  // records named "PropertyRec" with members Name, Value, Type (DAO type).
  rt::SafeArray dbProperties(const std::string& fsTblName, const std::string& fsFldName = "",
                             const rt::Variant& Conn = rt::Variant::Missing());
  // The table's field names in ordinal order.
  rt::SafeArray dbFields(const std::string& fsTblName,
                         const rt::Variant& Conn = rt::Variant::Missing());

  // ---- Indexes and relations ----
  // The table's indexes as IndexRec records (an unallocated array on failure).
  rt::SafeArray dbIndexDefs(const std::string& fsTblName,
                            const rt::Variant& Conn = rt::Variant::Missing());
  bool dbCreateIndexItem(const std::string& fsTblName, const std::string& fsIndexName = "",
                         const std::string& fsIndexField = "ID", bool fbPrimary = true,
                         bool fbRequired = true, bool fbClustered = true, bool fbUnique = true,
                         bool fbIgnoreNulls = false, const std::string& fsGroupName = "PRIMARY",
                         bool fbIsSQLServer = false);
  bool dbRemoveIndexItem(const std::string& fsTblName, const std::string& fsIndexName = "",
                         bool fbIsSQLServer = false);
  bool dbCreateRelationItem(const std::string& fsFldName, const std::string& fsTblName = "",
                            const std::string& fsForeignTable = "", std::int32_t fAttributes = 0,
                            const std::string& fsForeignName = "", const std::string& fsName = "");
  // A column's SQL Server type text: " [type] " or " [type] (size) ".
  std::string dbGetFieldSQLStr(const std::string& fsTblName, const std::string& fsFldName,
                               const rt::Variant& Conn = rt::Variant::Missing());
  // Table structure: field-structure records (Name, Type as an ADO code,
  // DefinedSize, Attributes, Required, AllowZeroLength, DefaultValue,
  // Description, OrdinalPosition, Precision, NumericScale), a table made from
  // them, a table's structure copied between any two stores, and rows copied
  // between two tables of one connection.
  rt::SafeArray dbGetTblStruct(const std::string& fsTblName,
                               const rt::Variant& Conn = rt::Variant::Missing());
  bool dbCreateTblStruct(const std::string& fsTblName, const rt::SafeArray& fTFieldStruct,
                         const rt::Variant& Conn = rt::Variant::Missing());
  bool dbCopyTblStruct(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                       const rt::Variant& SrcConn = rt::Variant::Missing(),
                       const rt::Variant& DstConn = rt::Variant::Missing());
  bool dbCopyTblData(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                     const std::string& fsCondition = "",
                     const rt::Variant& Conn = rt::Variant::Missing());

  // ---- Single-value record operations and next-ID generation ----
  bool dbIsExist(const std::string& fsTblName, const std::string& fsFldName,
                 const std::string& fItemData, std::int32_t fType = 0,
                 const std::string& fsCondition = "",
                 const rt::Variant& Conn = rt::Variant::Missing());
  bool dbGetValue(const std::string& fsTblName, const std::string& fsFldName,
                  const std::string& fsCondition, std::string& fItemData,
                  const rt::Variant& Conn = rt::Variant::Missing());
  bool dbDeleteItem(const std::string& fsTblName, const std::string& fsCondition = "",
                    const rt::Variant& Conn = rt::Variant::Missing());
  bool dbModifyItem(const std::string& fsTblName, const std::string& fsFldName,
                    const std::string& fNewItemData, const std::string& fsCondition,
                    const rt::Variant& Conn = rt::Variant::Missing());
  std::int32_t dbRecordCounts(const std::string& fsTblName, const rt::Variant& Conn,
                              const std::string& fsCondition = "");
  std::string dbGetMaxID(const std::string& fsTblName, const std::string& fsIDFld = "ID",
                         const rt::Variant& Conn = rt::Variant::Missing(), bool fbIsStr = false,
                         std::int32_t flLen = 8, bool bIsSQL = false,
                         const std::string& fsConditionSQL = "");

  // ---- Working recordset ----
  // The optional cursor and lock types count as given when not 0.
  bool dbSetRecordset(const std::string& sSource, std::int32_t CursorType = 0,
                      std::int32_t LockType = 0);
  bool dbCloseRecordset();
  // TFieldRec: an array of FieldRec records describing one row.
  bool dbCreateRecord(const rt::SafeArray& TFieldRec,
                      const rt::Variant& Conn = rt::Variant::Missing());
  rt::SafeArray dbGetRecord(const std::string& fsTblName, const std::string& fsFldName,
                            std::int32_t& flCount, const std::string& sSQL = "",
                            const rt::Variant& Conn = rt::Variant::Missing());
  // ---- Copying rows and recordsets ----
  rt::ObjectRef dbCloneRecord(const rt::ObjectRef& rs);
  bool dbCopyRecordset(const rt::ObjectRef& rs, const std::string& fsTblName,
                       const rt::Variant& Conn = rt::Variant::Missing());
  bool dbCopyRows(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                  const std::string& fsCondition = "",
                  const rt::Variant& SrcConn = rt::Variant::Missing(),
                  const rt::Variant& DstConn = rt::Variant::Missing());

  // ---- Field lists, null normalisation and fabricated recordsets ----
  // Column names of a one-row query on the table, comma-separated; their ADO
  // type numbers are appended to fsRetType (not cleared first). Unguarded.
  std::string dbGetFieldsName(const std::string& fsTblName, const rt::Variant& Conn,
                              const std::string& fsFields, std::string& fsRetType);
  std::string dbGetFieldsName(const std::string& fsTblName, const rt::Variant& Conn,
                              const std::string& fsFields = "*");
  // Replaces Nulls with a zero, one column and one transaction at a time.
  // Always False.
  bool dbSetNullToZero(const std::string& fsTblName, const rt::Variant& Conn,
                       const std::string& fsFields = "*", const std::string& fsCondition = "",
                       bool fbOnlyNumeric = false);
  // An open, empty, updatable recordset with the described fields and no
  // connection. Unguarded.
  rt::ObjectRef dbCreateVRecord(const rt::SafeArray& fTFieldStruct);

  // ---- Filling list controls ----
  // Each appends to Ctrl (a list or combo box, reached late-bound through
  // AddItem, ListCount and ItemData) and never clears it first. Rows whose
  // value is Null or empty text are skipped; a zero is added. False when no
  // row was read (nothing recorded) or on an error (recorded).
  // dbAddCtrl: field fsFldName of each row of sSQL.
  bool dbAddCtrl(rt::Variant& Ctrl, const std::string& fsFldName, const std::string& sSQL,
                 const rt::Variant& Conn = rt::Variant::Missing());
  // dbAddCtrlEx: field fsFldName of "SELECT * FROM t [WHERE cond] [ORDER BY
  // sort]", narrowed by the filter expression fsFilterData when given; each
  // item's ItemData (at ListCount - 1) gets field fItemData when given.
  bool dbAddCtrlEx(rt::Variant& Ctrl, const std::string& fsTblName, const std::string& fsFldName,
                   const std::string& fItemData = "", const std::string& fsSort = "",
                   const std::string& fsCondition = "", const std::string& fsFilterData = "",
                   const rt::Variant& Conn = rt::Variant::Missing());
  // Always False; a recordset with fields records a type mismatch (13)
  // before any name is added.
  bool dbAddFieldsName(rt::Variant& Ctrl, const rt::ObjectRef& rs);

  // ---- Recordset text backup and restore ----
  // Writes rs's rows to fsFile, values joined by fsSeparator, after a note
  // line and the field names, ADO types and defined sizes (unless
  // fbNonInfo); adDate values through fsDateFmt when given. Ctrl: an optional
  // progress bar (Max, Value) or label (Caption). False when rs has no rows.
  bool dbBackupRecordset(const rt::ObjectRef& rs, const std::string& fsFile,
                         const std::string& fsSeparator = ",", const std::string& fsNote = "",
                         bool fbNonInfo = false, const std::string& fsDateFmt = "",
                         const rt::Variant& Ctrl = rt::Variant::Missing());
  // Reads such a file into a new disconnected recordset (Nothing on failure):
  // fbNote skips a note line; each field list, when not given, is read from
  // the next line. fsEncoding: "" or "UTF-8" (the file's own encoding), or
  // "GBK" for files written in code page 936.
  rt::ObjectRef dbRestoreRecordset(const std::string& fsFile, const std::string& fsSeparator = ",",
                                   bool fbNote = false, const std::string& fsFieldNames = "",
                                   const std::string& fsFieldTypes = "",
                                   const std::string& fsFieldLen = "",
                                   const rt::Variant& Ctrl = rt::Variant::Missing(),
                                   const std::string& fsEncoding = "");

  // ---- Export ----
  // Copies the rows of fsSQL ("SELECT <fields> FROM ...") on the source
  // connection Conn into a target of type fsDefType (a gnDataTypes value),
  // picked in the export-type dialog unless fbNoTypeSelect, and the file
  // fsDefaultFile, picked in a file dialog unless fbNoFiledlg. True only when
  // the export ran; a cancelled dialog gives False.
  bool dbExport(const std::string& fsSQL, const rt::Variant& Conn,
                const std::string& fsDefaultFile = "", bool fbNoFiledlg = false,
                bool fbNoTypeSelect = false, std::int32_t fsDefType = 0);

  // ---- The form inventory ----
  // The controls of a form description file, one "FormCtlInfo" record each
  // (Name, Class, Library, Parent, Index, Properties), from index 1, only
  // those of class fsCtlType ("CommandButton", or "VB.CommandButton" with the
  // library) when it is given, compared without regard to case. Properties:
  // "FormProperty" records (Name, Value) from index 1, groups flattened into
  // "Font.Name". fsEncoding as for dbRestoreRecordset. Malformed text: error
  // 321 and an unallocated array.
  rt::SafeArray dbGetFormCtlInfo(const std::string& fsFormFile, const std::string& fsCtlType = "",
                                 const std::string& fsEncoding = "");
  // Splits one line at its first "=" into a trimmed key and value (a single
  // quoted string loses its quotes; a trailing comment is dropped). Silent.
  bool LoSplitVBLineInfo(const std::string& fsLine, std::string& fsKey, std::string& fsValue);

  // ---- Field type vocabulary ----
  std::string dbGetFldTypeDesc(std::int32_t iType, bool bIsADO = true);
  std::int32_t dbAdo2DaoType(std::int32_t flType);
  std::int32_t dbDao2AdoType(std::int32_t flType);
  std::string dbGetHXType(std::int32_t flType, bool fbIsDAO = true);
  std::string dbGetFieldType(std::int32_t flType, bool fbIsAdo = true);
  std::string dbGetDAODesc(std::int32_t feDAO);

  // ---- SQL dialect translation ----
  std::string dbCSql(const std::string& fsSQL);

  // ---- Frame services used by every subsystem ----

  // Value to text with a default for Null, empty and zero (list filling and
  // identifier generation use it). A missing Default gives "".
  std::string ValueOrDefault(const rt::Variant& Value,
                             const rt::Variant& Default = rt::Variant::Missing());

  // Two-store resolution: a present Conn selects its path by type name
  // ("Connection", "Database", and "Catalog" when accepted); a missing Conn
  // takes the default database, or None when there is none.
  ResolvedStore ResolveTwoStore(const rt::Variant& Conn, bool acceptCatalog = false) const;
  // ADO-only resolution: a missing Conn gives the default connection (no value
  // when there is none); a present Conn must be a Connection, else error 13.
  std::optional<rt::Variant> ResolveAdoOnly(const rt::Variant& Conn) const;

  // Per-object state, read by the subsystems and by tests.
  const rt::ObjectRef& defaultConnection() const { return defaultConnection_; }
  const rt::ObjectRef& workingRecordset() const { return workingRecordset_; }
  const rt::ObjectRef& currentTableDef() const { return currentTableDef_; }
  bool debug() const { return debug_; }

  // The body of every recording handler: show the debug box (if the debug
  // flag is set), then overwrite the last error with `e`.
  void RecordError(const rt::ErrorInfo& e);
  // Show the debug box for an error object (read late-bound: Number, Source,
  // Description) when the debug flag is set. Errors reading it propagate.
  void ShowDebugError(const rt::Variant& errObject);

 protected:
  // Run `body(result)` under the guard kind of `method` in the method table.
  // On failure the guard kind decides: record and/or swallow the error (then
  // `onError(error, result)` does the method's own clean-up), or let it out.
  // The caller gets `result` as it stood when the error struck.
  template <class R, class Body>
  R Run(std::string_view method, R result, Body&& body);
  template <class R, class Body, class OnError>
  R Run(std::string_view method, R result, Body&& body, OnError&& onError);

 private:
  // After a failure in a guarded method: what the guard kind does before the
  // method's own clean-up. Returns normally for every kind but Unguarded.
  void HandleFailure(frame::GuardKind kind, const rt::ErrorInfo& e);
  static frame::GuardKind KindOf(std::string_view method);

 protected:
  // Per-object state (protected so that subsystem tests can arrange it).
  rt::ObjectRef currentTableDef_;
  rt::ObjectRef defaultConnection_;
  rt::ObjectRef workingRecordset_;
  bool debug_ = false;
  ErrStruct lastError_;
  // Between dbCreateTableItem and dbCreateTableOver.
  rt::ObjectRef pendingCatalog_;
  rt::ObjectRef pendingTable_;
  std::string virtualIndexText_;
};

template <class R, class Body>
R clsZMDBFunc::Run(std::string_view method, R result, Body&& body) {
  return Run(method, std::move(result), std::forward<Body>(body), [](const rt::ErrorInfo&, R&) {});
}

template <class R, class Body, class OnError>
R clsZMDBFunc::Run(std::string_view method, R result, Body&& body, OnError&& onError) {
  const frame::GuardKind kind = KindOf(method);
  if (kind == frame::GuardKind::Unguarded) {
    body(result);
    return result;
  }
  try {
    body(result);
  } catch (...) {
    const rt::ErrorInfo e = rt::ErrorFromCurrentException();
    HandleFailure(kind, e);
    onError(e, result);
  }
  return result;
}

// Runs statements with the resume-next rule: a failing statement is skipped
// and remembered as the current error; the next one runs regardless.
class ResumeNext {
 public:
  template <class F>
  void operator()(F&& statement) noexcept {
    try {
      statement();
    } catch (...) {
      err_ = rt::ErrorFromCurrentException();
    }
  }
  const rt::ErrorInfo& err() const { return err_; }

 private:
  rt::ErrorInfo err_;
};

// The platform's error object as a late-bound object: Number, Source, Description.
class ErrObject : public rt::Object {
 public:
  explicit ErrObject(rt::ErrorInfo info) : info_(std::move(info)) {}
  std::string TypeName() const override { return "ErrObject"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;

 private:
  rt::ErrorInfo info_;
};

}  // namespace zmdb

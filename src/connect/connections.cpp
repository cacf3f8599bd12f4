// Opening, adopting, handing out and closing the default database (library-
// wide, per thread) and the default connection (per object).
#include "zmdb/connect/dialect.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"

namespace zmdb {

namespace {
using rt::Variant;

// The data engine's first workspace, made the default workspace on first use.
Variant DefaultWorkspace() {
  frame::LibraryState& lib = frame::Library();
  if (!lib.workspace) {
    const Variant workspaces = rt::GetProp(Variant(frame::Engine()), "Workspaces");
    lib.workspace = rt::ItemOf(workspaces, Variant(std::int32_t{0})).AsObject();
  }
  return Variant(lib.workspace);
}
}  // namespace

// Opens a database through the data engine itself (shared, not read-only)
// and makes it the default database; the previous one is dropped unclosed.
bool clsZMDBFunc::dbOpenDateBase(const std::string& fsFilename, const std::string& fsConnStr) {
  return Run("dbOpenDateBase", false, [&](bool& result) {
    const Variant db =
        rt::CallMethod(Variant(frame::Engine()), "OpenDatabase",
                       {Variant(fsFilename), Variant(false), Variant(false), Variant(fsConnStr)});
    frame::Library().defaultDatabase = db.AsObject();
    result = frame::Library().defaultDatabase != nullptr;
  });
}

// Adopts `fConn` when given (a Connection or a Database; other objects are
// ignored), else opens a database described by the connect string alone
// (IsDAO) or a new connection on `fsConnStr`. On failure the default of the
// kind IsDAO names is dropped, whatever failed.
bool clsZMDBFunc::dbSetConnect(const std::string& fsConnStr, bool IsDAO,
                               std::int32_t CursorLocation, const rt::Variant& fConn) {
  return Run(
      "dbSetConnect", false,
      [&](bool& result) {
        if (!fConn.IsMissing()) {
          const std::string type = rt::TypeName(fConn);
          if (type == "Connection") {
            defaultConnection_ = fConn.AsObject();
          } else if (type == "Database") {
            frame::Library().defaultDatabase = fConn.AsObject();
          }
        } else if (IsDAO) {
          const Variant db = rt::CallMethod(DefaultWorkspace(), "OpenDatabase",
                                            {Variant(""), Variant(std::int32_t{0}),
                                             Variant(std::int32_t{0}), Variant(fsConnStr)});
          frame::Library().defaultDatabase = db.AsObject();
        } else {
          defaultConnection_.reset();
          defaultConnection_ = dal::Connection::Create();
          const Variant cn(defaultConnection_);
          // Handed over as received: 0 from a caller that left it out too.
          rt::SetProp(cn, "CursorLocation", Variant(CursorLocation));
          rt::CallMethod(cn, "Open",
                         {Variant(fsConnStr), Variant(""), Variant(""), Variant(std::int32_t{-1})});
        }
        result = true;
      },
      [&](const rt::ErrorInfo&, bool&) {
        if (IsDAO) {
          frame::Library().defaultDatabase.reset();
        } else {
          defaultConnection_.reset();
        }
      });
}

// The default database (IsDAO) or the default connection; either may be empty.
rt::ObjectRef clsZMDBFunc::dbGetConnect(bool IsDAO) {
  return Run("dbGetConnect", rt::ObjectRef(), [&](rt::ObjectRef& result) {
    result = IsDAO ? frame::Library().defaultDatabase : defaultConnection_;
  });
}

// Closes and drops the default database (IsDAO) or the default connection;
// True also when there was nothing to close. A failed Close keeps the reference.
bool clsZMDBFunc::dbCloseConnect(bool IsDAO) {
  return Run("dbCloseConnect", false, [&](bool& result) {
    rt::ObjectRef& target = IsDAO ? frame::Library().defaultDatabase : defaultConnection_;
    if (target) {
      rt::CallMethod(Variant(target), "Close");
      target.reset();
    }
    result = true;
  });
}

bool clsZMDBFunc::dbIsSQLConnect(const rt::Variant& Conn) {
  return connect::IsSQLServerConn(Conn);
}

}  // namespace zmdb

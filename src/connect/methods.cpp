// Connection-string methods of the component object.
#include "zmdb/connect/connstr.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"

namespace zmdb {

std::string clsZMDBFunc::dbGetJetConnect(const std::string& fsDatabase, const std::string& fsPasswd,
                                         bool fbIsShape, const std::string& fsJetVersion) {
  return connect::JetConnect(fsDatabase, fsPasswd, fbIsShape, fsJetVersion);
}

std::string clsZMDBFunc::dbGetSQLConnect(const std::string& fsUser, const std::string& fsDatabase,
                                         const std::string& fsPasswd, const std::string& fsServer,
                                         bool fbIsShape, const std::string& fsDSN,
                                         std::int32_t fiType) {
  return connect::SqlConnect(fsUser, fsDatabase, fsPasswd, fsServer, fbIsShape, fsDSN, fiType);
}

// The connect string of the default database (IsDAO) or the connection
// string of the default connection, read from the object as it stands.
std::string clsZMDBFunc::dbGetConnString(bool IsDAO) {
  return Run("dbGetConnString", std::string(), [&](std::string& result) {
    if (IsDAO) {
      const rt::ObjectRef& db = frame::Library().defaultDatabase;
      if (db) result = rt::CStr(rt::GetProp(rt::Variant(db), "Connect"));
    } else if (defaultConnection_) {
      result = rt::CStr(rt::GetProp(rt::Variant(defaultConnection_), "ConnectionString"));
    }
  });
}

}  // namespace zmdb

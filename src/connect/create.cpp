// Creating a database (a file through the data engine, or a SQL Server
// database through a connection to the server's master database), creating
// an empty file through the catalogue, and closing the default database.
#include "zmdb/connect/create.h"

#include <array>
#include <filesystem>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text.h"

namespace zmdb {

namespace connect {

std::string DerivedFileName(std::string_view path) {
  const std::size_t point = path.find('.');
  if (point == std::string_view::npos) return std::string(path) + "1";
  return std::string(path.substr(0, point)) + "1" + std::string(path.substr(point));
}

std::string ExistingFileWarning(std::string_view path, std::string_view newFile) {
  return "数据库文件" + std::string(path) + "已经存在,将建立名为" + std::string(newFile) +
         "的数据库," + "建立成功后请退出本程序,将新建数据库名改为 " + std::string(path);
}

std::string LocaleWithPassword(std::string_view locale, std::string_view password) {
  std::string text(locale);
  if (!password.empty()) text += ";pwd=" + std::string(password);
  return text;
}

bool IsSystemDatabaseName(std::string_view database) {
  static constexpr std::array<std::string_view, 6> kSystem = {"master",    "model", "msdb",
                                                              "Northwind", "pubs",  "tempdb"};
  const std::string upper = rt::UpperCase(database);
  for (std::string_view name : kSystem) {
    if (upper == rt::UpperCase(name)) return true;
  }
  return false;
}

std::string CreateServerString(std::string_view server, std::string_view user,
                               std::string_view password) {
  return "DRIVER=SQL SERVER;SERVER=" + std::string(server) + ";UID=" + std::string(user) +
         ";PWD=" + std::string(password) + ";DATABASE=";
}

std::string CreateDatabaseStatement(std::string_view database, std::string_view dataFile) {
  const std::string name(database);
  return "CREATE DATABASE " + name + " ON (NAME = " + name + "_dat,FILENAME = '" +
         std::string(dataFile) + "')";
}

std::string DropDatabaseStatement(std::string_view database) {
  return "DROP DATABASE " + std::string(database);
}

}  // namespace connect

namespace {
using rt::Variant;

constexpr std::int32_t kStatementError = static_cast<std::int32_t>(0x80040E14u);
constexpr std::int32_t kProviderError = static_cast<std::int32_t>(0x80004005u);
constexpr std::int32_t kDaoEncrypt = 2;  // the data engine's option for an encrypted database

// The platform's directory look-up: a name only for an existing file.
bool FileExists(const std::string& path) {
  std::error_code ec;
  return !path.empty() && std::filesystem::is_regular_file(path, ec);
}

// The platform's file deletion: error 53 when there is no such file.
void Kill(const std::string& path) {
  std::error_code ec;
  if (!FileExists(path) || !std::filesystem::remove(path, ec)) {
    rt::RaiseStandard(rt::err::kFileNotFound);
  }
}

void Execute(const Variant& cn, const std::string& statement) {
  rt::CallMethod(cn, "Execute",
                 {Variant(statement), Variant::Missing(), Variant(std::int32_t{-1})});
}

Variant OpenConnection(const rt::ObjectRef& cn, const std::string& text) {
  const Variant conn(cn);
  rt::CallMethod(conn, "Open",
                 {Variant(text), Variant(""), Variant(""), Variant(std::int32_t{-1})});
  return conn;
}

}  // namespace

// File database (fbSQL False): made under PathFileName, or under the derived
// name when that file exists (a file of the derived name must be there to be
// replaced); it becomes the default database. SQL Server database: made on
// fsServer with its data file at PathFileName after the user agreed to drop
// one of the same name; the default connection is left open on it. The
// hourglass shows throughout and stays after the refusal of a system name.
bool clsZMDBFunc::dbCreateDBItem(const std::string& PathFileName, const std::string& fsPasswd,
                                 std::string& fsNewDBFile, bool fbMsgWarn, bool fbSQL,
                                 const std::string& fsUserName, const std::string& fsServer,
                                 const std::string& fsDatabase, const std::string& fsLang) {
  rt::SetMousePointer(rt::kPointerHourglass);
  return Run(
      "dbCreateDBItem", false,
      [&](bool& result) {
        fsNewDBFile = PathFileName;
        const bool existed = FileExists(PathFileName);
        if (existed && !fbSQL) {
          fsNewDBFile = connect::DerivedFileName(PathFileName);
          if (fbMsgWarn && rt::MsgBox(connect::ExistingFileWarning(PathFileName, fsNewDBFile),
                                      rt::mb::kOKCancel) == rt::mb::kOK) {
            // Agreeing leaves through the handler with no error pending.
            throw rt::PlatformError(rt::ErrorInfo{});
          }
          Kill(fsNewDBFile);
        }
        if (!fbSQL) {
          const Variant db = rt::CallMethod(
              Variant(frame::Engine()), "CreateDatabase",
              {Variant(fsNewDBFile), Variant(connect::LocaleWithPassword(fsLang, fsPasswd)),
               Variant(kDaoEncrypt)});
          frame::Library().defaultDatabase = db.AsObject();
          result = frame::Library().defaultDatabase != nullptr;
          rt::SetMousePointer(rt::kPointerDefault);
          return;
        }
        if (connect::IsSystemDatabaseName(fsDatabase)) {
          rt::MsgBox(std::string(connect::kSystemNameRefusal), rt::mb::kCritical);
          return;
        }
        const std::string base = connect::CreateServerString(fsServer, fsUserName, fsPasswd);
        defaultConnection_.reset();
        defaultConnection_ = dal::Connection::Create();
        const Variant cn(defaultConnection_);
        rt::SetProp(cn, "CursorLocation", Variant(std::int32_t{dal::ado::adUseClient}));
        OpenConnection(defaultConnection_, base + "master;");
        if (dbSQLTblExists(fsDatabase, fsServer, fsUserName, fsPasswd, "SQLOLEDB")) {
          const int answer =
              rt::MsgBox(std::string(connect::kDropQuestion),
                         rt::mb::kOKCancel | rt::mb::kExclamation | rt::mb::kDefaultButton2);
          if (answer != rt::mb::kOK) {
            rt::CallMethod(cn, "Close");
            defaultConnection_.reset();
            rt::SetMousePointer(rt::kPointerDefault);
            return;
          }
          ResumeNext ignore;
          ignore([&] { Execute(cn, connect::DropDatabaseStatement(fsDatabase)); });
          if (existed) ignore([&] { Kill(PathFileName); });
        }
        Execute(cn, connect::CreateDatabaseStatement(fsDatabase, PathFileName));
        rt::CallMethod(cn, "Close");
        OpenConnection(defaultConnection_, base + fsDatabase + ";");
        result = defaultConnection_ != nullptr;
        rt::SetMousePointer(rt::kPointerDefault);
      },
      [&](const rt::ErrorInfo& e, bool& result) {
        result = false;
        // The opposite of what each path made, as the handler has always done.
        if (fbSQL) {
          frame::Library().defaultDatabase.reset();
        } else {
          defaultConnection_.reset();
        }
        if (e.Number == kStatementError) {
          rt::MsgBox(std::string(connect::kDatabaseInUse));
        } else if (e.Number == kProviderError) {
          rt::MsgBox(std::string(connect::kNetworkFailure));
        }
        rt::SetMousePointer(rt::kPointerDefault);
      });
}

// An empty file database made through the catalogue; True when nothing failed.
// The default database is not touched.
bool clsZMDBFunc::dbCreateDBADOX(const std::string& strDBPath) {
  return Run("dbCreateDBADOX", false, [&](bool& result) {
    ResumeNext step;
    rt::ObjectRef catalog;
    step([&] { catalog = dal::adox::Catalog::Make(); });
    step([&] {
      rt::CallMethod(Variant(catalog), "Create",
                     {Variant("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + strDBPath)});
    });
    result = step.err().Number == 0;
  });
}

// Closes the default database, without looking first whether there is one
// (error 91 when there is none), and lets it go.
bool clsZMDBFunc::dbCloseDBItem() {
  return Run("dbCloseDBItem", false, [&](bool& result) {
    rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) rt::RaiseStandard(rt::err::kObjectNotSet);
    rt::CallMethod(Variant(db), "Close");
    db.reset();
    result = true;
  });
}

}  // namespace zmdb

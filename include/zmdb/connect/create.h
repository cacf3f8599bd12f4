// Database creation: the names, texts and statements dbCreateDBItem builds,
// kept apart from running them so that they can be checked as text.
#pragma once

#include <string>
#include <string_view>

namespace zmdb::connect {

// The locale text a new file database gets when the caller gives none.
inline constexpr std::string_view kDefaultCreateLocale = ";LANGID=0x0804;CP=936;COUNTRY=0";

// Messages shown while creating a database.
inline constexpr std::string_view kSystemNameRefusal = "新的数据库名与系统数据库冲突,建立失败";
inline constexpr std::string_view kDropQuestion =
    "同名数据库存在,是否删除?\r\n注意:此操作将删除现有的数据库,在进行之前,请先备份数据!";
inline constexpr std::string_view kDatabaseInUse =
    "当前数据库正在使用,请先退出占用的程序,然后重新进行本操作";
inline constexpr std::string_view kNetworkFailure =
    "一般性网络错误。请检查网络是否连接或者 SQL SERVER 是否运行。";

// The name a new file database takes when `path` is taken: "1" inserted before
// the first "." of the whole path (so a point in a folder name counts), or
// appended when there is no point. C:\d\a.mdb gives C:\d\a1.mdb.
std::string DerivedFileName(std::string_view path);

// The warning that `path` exists and the database is made as `newFile`.
std::string ExistingFileWarning(std::string_view path, std::string_view newFile);

// The locale text followed, for a non-empty password, by ";pwd=" and it.
std::string LocaleWithPassword(std::string_view locale, std::string_view password);

// Whether `database` is one of the server's own databases (master, model,
// msdb, Northwind, pubs, tempdb), compared without regard to case.
bool IsSystemDatabaseName(std::string_view database);

// The ODBC string of the SQL Server that databases are created on, up to and
// including "DATABASE="; the database name and ";" follow it.
std::string CreateServerString(std::string_view server, std::string_view user,
                               std::string_view password);

// CREATE DATABASE naming only the data file; the log is left to the server.
std::string CreateDatabaseStatement(std::string_view database, std::string_view dataFile);
std::string DropDatabaseStatement(std::string_view database);

}  // namespace zmdb::connect

// The automation session: one JSON request in, one JSON response out. A
// session owns named component objects ("main" from the start), the handles
// of the objects it handed out, and a headless host whose boxes and pointer
// changes are reported with each response.
//
// Requests:
//   {"call": "dbCSql", "args": {"fsSQL": "..."}, "answers": [2], "object": "main"}
//   {"new": "clsZMDBFunc", "name": "b"}   a further component object
//   {"new": "ListBox" | "ComboBox" | "ProgressBar" | "Label"}
//   {"new": "Connection", "args": {"ConnectionString": "...", "CursorLocation": 3}}
//   {"new": "Recordset"}                  an unopened recordset (fields may be appended)
//   {"new": "Database", "args": {"Name": "...", "Connect": "", "ReadOnly": false, "Create": false}}
//   {"release": "b"}                      the object runs its teardown
//   {"exec": "SQL", "conn": {"handle": "h1"}}   raw SQL, for test set-up
//   {"inspect": {"handle": "h2"}}
//   {"get": "RecordCount", "on": {"handle": "h2"}, "args": []}   late-bound, as a host's
//   {"set": "Filter", "on": {"handle": "h2"}, "value": "ID > 1", "args": []}   script reaches
//   {"invoke": "MoveNext", "on": {"handle": "h2"}, "args": []}   any object; args by position
//   {"new": "Parameter", "args": {"Name": "@id", "Type": 3, "Direction": 1, "Size": 4, "Value": 7}}
// Any request may carry "dialogs": scripted answers for the dialogs it shows,
// in order: [{"choose": 2}, {"file": "/path"}, {"odbc": "DRIVER=..."}, {"cancel": true}].
// Response: {"result", "byref", "lastError", "shown", "dialogs", "pointer"}
// and "raised" when the call itself failed or the request was malformed.
// "dialogs" lists each dialog shown: {"kind": "DataType", "list", "default",
// "captions": {"cmdOK", "cmdCancel"}, "answer"}, {"kind": "File", "title",
// "filter", "flags", "defaultExt", "filterIndex", "fileName", "cancelError",
// "answer"} or {"kind": "DataSource", "answer"}; "answer" is null for a cancel.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "zmdb/automation/json_value.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::automation {

class Session {
 public:
  Session();
  ~Session();

  // Handle one request line; never throws. A malformed line gets a response
  // with "raised" and leaves the session usable.
  std::string HandleLine(const std::string& line);
  Json Handle(const Json& request);

  const std::shared_ptr<rt::HeadlessHost>& host() const { return host_; }

 private:
  Json Call(const Json& request, Json& response);
  Json GetMember(const Json& request);
  Json SetMember(const Json& request);
  Json Invoke(const Json& request, Json& response);
  Json New(const Json& request);
  Json Inspect(const Json& request);
  Json Exec(const Json& request);
  clsZMDBFunc& ObjectNamed(const std::string& name);

  std::shared_ptr<rt::HeadlessHost> host_;
  rt::ScopedHost scope_;
  std::map<std::string, std::unique_ptr<clsZMDBFunc>> objects_;
  HandleTable handles_;
};

}  // namespace zmdb::automation

#include "zmdb/automation/session.h"

#include <filesystem>

#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/methods.h"
#include "zmdb/runtime/error.h"
#include "zmdb/ui/controls.h"

namespace zmdb::automation {

namespace {

constexpr const char* kSource = "zmdb";

// A request that cannot be served as written.
[[noreturn]] void Malformed(const std::string& why) {
  rt::Raise(rt::err::kInvalidProcCall, "Malformed request: " + why, kSource);
}

Json ErrorJson(const rt::ErrorInfo& e) {
  return Json{{"Number", e.Number}, {"Description", e.Description}, {"Source", e.Source}};
}

// What the headless controls show of themselves.
std::optional<Json> InspectControl(rt::Object& object) {
  if (auto* list = dynamic_cast<ui::ListControl*>(&object)) {
    return Json{{"items", list->items()}, {"itemData", list->itemData()}};
  }
  if (auto* progress = dynamic_cast<ui::ProgressControl*>(&object)) {
    HandleTable none;
    Json values = Json::array();
    for (const rt::Variant& v : progress->valueHistory()) values.push_back(ToJson(v, none));
    Json captions = Json::array();
    for (const rt::Variant& v : progress->captionHistory()) captions.push_back(ToJson(v, none));
    return Json{{"Visible", progress->visible()},
                {"Max", progress->max()},
                {"Value", std::move(values)},
                {"Caption", std::move(captions)}};
  }
  return std::nullopt;
}

// Fields, rows (in order, after any filter) and the count of a recordset.
Json InspectRecordset(dal::Recordset& rs, HandleTable& handles) {
  Json fields = Json::array();
  for (const dal::ColumnInfo& c : rs.columns()) {
    fields.push_back(Json{{"Name", c.name}, {"Type", c.adoType}, {"DefinedSize", c.definedSize}});
  }
  const std::int32_t count = rs.RecordCount();
  Json rows = Json::array();
  for (const auto& row : rs.VisibleRows()) {
    Json r = Json::array();
    for (const rt::Variant& v : row) r.push_back(ToJson(v, handles));
    rows.push_back(std::move(r));
  }
  return Json{{"fields", std::move(fields)}, {"rows", std::move(rows)}, {"RecordCount", count}};
}

Json InspectConnection(dal::Connection& cn) {
  Json errors = Json::array();
  for (const rt::ErrorInfo& e : cn.errors()->items()) errors.push_back(ErrorJson(e));
  return Json{{"ConnectionString", cn.ConnectionString()},
              {"Provider", cn.Provider()},
              {"State", cn.State()},
              {"CursorLocation", cn.CursorLocation()},
              {"Errors", std::move(errors)},
              {"statements", cn.statementLog()}};
}

// The table definitions (fields, indexes) and saved queries of a database.
Json InspectDatabase(dal::dao::Database& db) {
  Json tables = Json::array();
  auto& store = db.core()->store();
  for (const auto& entry : store.Tables()) {
    if (entry.kind != dal::schema::TableKind::Table && entry.kind != dal::schema::TableKind::Link) {
      continue;
    }
    const auto t = store.Table(entry.name);
    if (!t) continue;
    Json fields = Json::array();
    for (const auto& f : t->fields) {
      fields.push_back(Json{{"Name", f.name},
                            {"Type", f.type},
                            {"Size", f.size},
                            {"Required", f.required},
                            {"DefaultValue", f.defaultValue}});
    }
    Json indexes = Json::array();
    for (const auto& i : t->indexes) {
      Json keys = Json::array();
      for (const auto& k : i.fields) keys.push_back(k.name);
      indexes.push_back(Json{{"Name", i.name},
                             {"Fields", std::move(keys)},
                             {"Primary", i.primary},
                             {"Unique", i.unique || i.primary}});
    }
    Json table{{"Name", t->name}, {"fields", std::move(fields)}, {"indexes", std::move(indexes)}};
    if (!t->connect.empty()) {
      table["Connect"] = t->connect;
      table["SourceTableName"] = t->sourceTable;
    }
    tables.push_back(std::move(table));
  }
  Json queries = Json::array();
  for (const auto& q : store.Queries()) queries.push_back(Json{{"Name", q.name}, {"SQL", q.sql}});
  return Json{{"Name", db.Name()},
              {"Connect", db.Connect()},
              {"tables", std::move(tables)},
              {"queries", std::move(queries)}};
}

// A file database opened (or, with "Create": true and no file yet, created)
// from the request's Name, Connect and ReadOnly.
rt::ObjectRef OpenDatabase(const Json& args) {
  dal::dao::OpenArgs open;
  open.name = args.value("Name", std::string());
  open.connect = args.value("Connect", std::string());
  open.readOnly = args.value("ReadOnly", false);
  std::error_code ec;
  if (args.value("Create", false) && !std::filesystem::exists(open.name, ec)) {
    return dal::dao::Database::Create(open.name, {});
  }
  return dal::dao::Database::Open(open);
}

}  // namespace

Session::Session() : host_(std::make_shared<rt::HeadlessHost>()), scope_(host_) {
  host_->SetEcho(false);
  // Every connection a session sees, its own or one the library makes,
  // keeps the statements it ran for `inspect`.
  dal::SetStatementLogDefault(true);
  objects_.emplace("main", std::make_unique<clsZMDBFunc>());
}

Session::~Session() {
  dal::SetStatementLogDefault(false);
}

std::string Session::HandleLine(const std::string& line) {
  Json response;
  try {
    response = Handle(Json::parse(line));
  } catch (const Json::parse_error& e) {
    response =
        Json{{"raised", ErrorJson({rt::err::kInvalidProcCall, kSource,
                                   std::string("Malformed request: not JSON: ") + e.what()})}};
  }
  return response.dump(-1, ' ', false, Json::error_handler_t::replace);
}

clsZMDBFunc& Session::ObjectNamed(const std::string& name) {
  const auto it = objects_.find(name);
  if (it == objects_.end()) {
    rt::Raise(rt::err::kObjectRequired, "No component object is named '" + name + "'", kSource);
  }
  return *it->second;
}

Json Session::Handle(const Json& request) {
  Json response = Json::object();
  host_->ClearRecord();
  try {
    if (!request.is_object()) Malformed("a request is a JSON object");
    if (request.contains("answers")) {
      if (!request.at("answers").is_array()) Malformed("\"answers\" must be an array");
      host_->ScriptAnswers(request.at("answers").get<std::vector<int>>());
    } else {
      host_->ScriptAnswers({});
    }
    if (request.contains("call")) {
      response["result"] = Call(request, response);
    } else if (request.contains("new")) {
      response["result"] = New(request);
    } else if (request.contains("release")) {
      const std::string name = request.at("release").get<std::string>();
      ObjectNamed(name);     // an unknown name is an error
      objects_.erase(name);  // the object's teardown runs here
      response["result"] = true;
    } else if (request.contains("exec")) {
      response["result"] = Exec(request);
    } else if (request.contains("inspect")) {
      response["result"] = Inspect(request);
    } else {
      Malformed("expected one of call, new, release, exec, inspect");
    }
  } catch (const Json::exception& e) {
    response["raised"] = ErrorJson(
        {rt::err::kInvalidProcCall, kSource, std::string("Malformed request: ") + e.what()});
  } catch (...) {
    response["raised"] = ErrorJson(rt::ErrorFromCurrentException());
  }
  Json shown = Json::array();
  for (const rt::ShownBox& box : host_->shown()) {
    shown.push_back(Json{{"prompt", box.prompt},
                         {"buttons", box.buttons},
                         {"title", box.title},
                         {"answer", box.answer}});
  }
  response["shown"] = std::move(shown);
  response["pointer"] = host_->pointerHistory();
  // "raised" last, so the ordinary members keep their places.
  if (response.contains("raised")) {
    Json raised = response["raised"];
    response.erase("raised");
    response["raised"] = std::move(raised);
  }
  return response;
}

// A late-bound call by method name, with arguments by name.
Json Session::Call(const Json& request, Json& response) {
  const std::string objectName = request.value("object", std::string("main"));
  clsZMDBFunc& object = ObjectNamed(objectName);
  const std::string methodName = request.at("call").get<std::string>();
  const frame::MethodSpec* method = frame::FindMethod(methodName);
  if (!method) {
    rt::Raise(rt::err::kNotSupported, "clsZMDBFunc has no method '" + methodName + "'", kSource);
  }
  std::vector<std::optional<rt::Variant>> given(method->args.size());
  if (request.contains("args")) {
    const Json& args = request.at("args");
    if (!args.is_object()) Malformed("\"args\" must be an object of named arguments");
    for (const auto& [name, value] : args.items()) {
      std::size_t i = 0;
      while (i < method->args.size() && !rt::NameEquals(method->args[i].name, name)) ++i;
      if (i == method->args.size()) {
        rt::Raise(rt::err::kNotSupported,
                  std::string(method->name) + " has no argument named '" + name + "'", kSource);
      }
      given[i] = FromJson(value, handles_);
    }
  }
  std::vector<rt::Variant> args = frame::PrepareArguments(*method, given);
  Json result;
  Json byref = Json::object();
  auto fillByRef = [&] {
    for (std::size_t i = 0; i < method->args.size(); ++i) {
      if (method->args[i].byRef)
        byref[std::string(method->args[i].name)] = ToJson(args[i], handles_);
    }
  };
  try {
    const rt::Variant value = frame::Invoke(object, *method, args);
    result = method->result == frame::ArgType::Void ? Json(nullptr) : ToJson(value, handles_);
  } catch (...) {
    fillByRef();
    response["byref"] = byref;
    throw;
  }
  fillByRef();
  response["result"] = result;  // keeps "result" first
  response["byref"] = byref;
  const ErrStruct e = object.dbGetLastError();
  response["lastError"] =
      Json{{"Number", e.Number}, {"Description", e.Description}, {"Source", e.Source}};
  return result;
}

Json Session::New(const Json& request) {
  const std::string type = request.at("new").get<std::string>();
  if (type == "clsZMDBFunc") {
    const std::string name = request.value("name", std::string());
    if (name.empty()) Malformed("a new clsZMDBFunc needs a \"name\"");
    if (objects_.count(name)) Malformed("an object named '" + name + "' exists already");
    objects_.emplace(name, std::make_unique<clsZMDBFunc>());
    return name;
  }
  if (rt::ObjectRef control = ui::NewControl(type)) {
    return ToJson(rt::Variant(control), handles_);
  }
  if (type == "Connection") {
    auto cn = dal::Connection::Create();
    const Json args = request.value("args", Json::object());
    for (const auto& [key, value] : args.items()) {
      if (!rt::NameEquals(key, "ConnectionString")) {
        cn->SetProperty(key, FromJson(value, handles_), {});
      }
    }
    for (const auto& [key, value] : args.items()) {
      if (rt::NameEquals(key, "ConnectionString")) cn->Open(value.get<std::string>());
    }
    return ToJson(rt::Variant(rt::ObjectRef(cn)), handles_);
  }
  if (type == "Recordset")
    return ToJson(rt::Variant(rt::ObjectRef(dal::Recordset::Create())), handles_);
  if (type == "Database") {
    return ToJson(rt::Variant(OpenDatabase(request.value("args", Json::object()))), handles_);
  }
  rt::Raise(rt::err::kNotSupported, "Objects of type '" + type + "' cannot be made yet", kSource);
}

Json Session::Inspect(const Json& request) {
  const rt::Variant target = FromJson(request.at("inspect"), handles_);
  if (!target.IsObject() || !target.AsObject()) Malformed("\"inspect\" takes {\"handle\": ...}");
  rt::Object& object = *target.AsObject();
  if (auto j = InspectControl(object)) return *j;
  if (auto* rs = dynamic_cast<dal::Recordset*>(&object)) return InspectRecordset(*rs, handles_);
  if (auto* cn = dynamic_cast<dal::Connection*>(&object)) return InspectConnection(*cn);
  if (auto* db = dynamic_cast<dal::dao::Database*>(&object)) return InspectDatabase(*db);
  rt::Raise(rt::err::kNotSupported,
            "Objects of type '" + object.TypeName() + "' cannot be inspected", kSource);
}

// Raw SQL on a connection, for test set-up: rows as inspect shows them (all
// of them, counted), or the number of rows changed.
Json Session::Exec(const Json& request) {
  if (!request.contains("conn")) Malformed("\"exec\" needs \"conn\": {\"handle\": ...}");
  auto cn = rt::ObjectAs<dal::Connection>(FromJson(request.at("conn"), handles_));
  std::int64_t affected = -1;
  auto rs = cn->Execute(request.at("exec").get<std::string>(), &affected, -1, 3);
  if (rs->State() == 1) return InspectRecordset(*rs, handles_);
  return Json{{"rowsAffected", affected}};
}

}  // namespace zmdb::automation

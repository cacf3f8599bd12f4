#include "zmdb/automation/session.h"

#include "zmdb/automation/objects.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/router.h"
#include "zmdb/frame/methods.h"
#include "zmdb/runtime/convert.h"
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

// The answer to a line that could not be read as a request.
Json Refusal(const rt::ErrorInfo& e) {
  return Json{{"raised", ErrorJson(e)}};
}

// Inspection goes through the late-bound members every object answers, so
// any object with the right type name and members can be inspected.

rt::Variant Member(const rt::Variant& object, std::string_view name) {
  return rt::GetProp(object, name);
}

// The items of a late-bound collection, by position from 0.
std::vector<rt::Variant> Items(const rt::Variant& collection) {
  std::vector<rt::Variant> items;
  const std::int32_t n = rt::CLng(Member(collection, "Count"));
  for (std::int32_t i = 0; i < n; ++i) items.push_back(rt::ItemOf(collection, rt::Variant(i)));
  return items;
}

// The elements of an array value, each as JSON.
Json ArrayJson(const rt::Variant& array, HandleTable& handles) {
  Json out = Json::array();
  for (const rt::Variant& v : array.AsArray().items()) out.push_back(ToJson(v, handles));
  return out;
}

// What the headless list controls show of themselves: their items and the
// ItemData of each.
Json InspectList(const rt::Variant& list) {
  Json items = Json::array();
  Json itemData = Json::array();
  const std::int32_t n = rt::CLng(Member(list, "ListCount"));
  for (std::int32_t i = 0; i < n; ++i) {
    items.push_back(rt::CStr(rt::GetProp(list, "List", {rt::Variant(i)})));
    itemData.push_back(rt::CLng(rt::GetProp(list, "ItemData", {rt::Variant(i)})));
  }
  return Json{{"items", std::move(items)}, {"itemData", std::move(itemData)}};
}

// A progress bar or a label: visible or not, its scale (a label keeps the
// default one) and every value and caption it was given.
Json InspectProgress(const rt::Variant& control, const std::string& type) {
  HandleTable none;
  const double max =
      type == "ProgressBar" ? rt::CDbl(Member(control, "Max")) : ui::ProgressControl::kDefaultMax;
  return Json{{"Visible", rt::CBool(Member(control, "Visible"))},
              {"Max", max},
              {"Value", ArrayJson(Member(control, "ValueHistory"), none)},
              {"Caption", ArrayJson(Member(control, "CaptionHistory"), none)}};
}

// Fields, rows (in order, after any filter) and the count of a recordset.
Json InspectRecordset(const rt::Variant& rs, HandleTable& handles) {
  Json fields = Json::array();
  for (const rt::Variant& f : Items(Member(rs, "Fields"))) {
    fields.push_back(Json{{"Name", rt::CStr(Member(f, "Name"))},
                          {"Type", rt::CLng(Member(f, "Type"))},
                          {"DefinedSize", rt::CLng(Member(f, "DefinedSize"))}});
  }
  const std::int32_t count = rt::CLng(Member(rs, "RecordCount"));
  Json rows = Json::array();
  const rt::Variant visible = Member(rs, "VisibleRows");
  for (const rt::Variant& row : visible.AsArray().items()) rows.push_back(ArrayJson(row, handles));
  return Json{{"fields", std::move(fields)}, {"rows", std::move(rows)}, {"RecordCount", count}};
}

Json InspectConnection(const rt::Variant& cn) {
  Json errors = Json::array();
  for (const rt::Variant& e : Items(Member(cn, "Errors"))) {
    errors.push_back(Json{{"Number", rt::CLng(Member(e, "Number"))},
                          {"Description", rt::CStr(Member(e, "Description"))},
                          {"Source", rt::CStr(Member(e, "Source"))}});
  }
  HandleTable none;
  return Json{{"ConnectionString", rt::CStr(Member(cn, "ConnectionString"))},
              {"Provider", rt::CStr(Member(cn, "Provider"))},
              {"State", rt::CLng(Member(cn, "State"))},
              {"CursorLocation", rt::CLng(Member(cn, "CursorLocation"))},
              {"Errors", std::move(errors)},
              {"statements", ArrayJson(Member(cn, "StatementLog"), none)}};
}

// The table definitions (fields, indexes) and saved queries of a database.
Json InspectDatabase(const rt::Variant& db) {
  Json tables = Json::array();
  for (const rt::Variant& t : Items(Member(db, "TableDefs"))) {
    Json fields = Json::array();
    for (const rt::Variant& f : Items(Member(t, "Fields"))) {
      fields.push_back(Json{{"Name", rt::CStr(Member(f, "Name"))},
                            {"Type", rt::CLng(Member(f, "Type"))},
                            {"Size", rt::CLng(Member(f, "Size"))},
                            {"Required", rt::CBool(Member(f, "Required"))},
                            {"DefaultValue", rt::CStr(Member(f, "DefaultValue"))}});
    }
    Json indexes = Json::array();
    for (const rt::Variant& i : Items(Member(t, "Indexes"))) {
      Json keys = Json::array();
      for (const rt::Variant& k : Items(Member(i, "Fields")))
        keys.push_back(rt::CStr(Member(k, "Name")));
      indexes.push_back(Json{{"Name", rt::CStr(Member(i, "Name"))},
                             {"Fields", std::move(keys)},
                             {"Primary", rt::CBool(Member(i, "Primary"))},
                             {"Unique", rt::CBool(Member(i, "Unique"))}});
    }
    Json table{{"Name", rt::CStr(Member(t, "Name"))},
               {"fields", std::move(fields)},
               {"indexes", std::move(indexes)}};
    if (const std::string connect = rt::CStr(Member(t, "Connect")); !connect.empty()) {
      table["Connect"] = connect;
      table["SourceTableName"] = rt::CStr(Member(t, "SourceTableName"));
    }
    tables.push_back(std::move(table));
  }
  Json queries = Json::array();
  for (const rt::Variant& q : Items(Member(db, "QueryDefs"))) {
    queries.push_back(
        Json{{"Name", rt::CStr(Member(q, "Name"))}, {"SQL", rt::CStr(Member(q, "SQL"))}});
  }
  return Json{{"Name", rt::CStr(Member(db, "Name"))},
              {"Connect", rt::CStr(Member(db, "Connect"))},
              {"tables", std::move(tables)},
              {"queries", std::move(queries)}};
}

// The object a get, set or invoke reaches: the request's "on".
rt::Variant TargetOf(const Json& request, const HandleTable& handles) {
  if (!request.contains("on")) Malformed("the object is named by \"on\": {\"handle\": ...}");
  return FromJson(request.at("on"), handles);
}

// The arguments of a late-bound access, by position: a property's index or a
// method's arguments.
std::vector<rt::Variant> PositionalArgs(const Json& request, const HandleTable& handles) {
  std::vector<rt::Variant> args;
  if (!request.contains("args")) return args;
  const Json& given = request.at("args");
  if (!given.is_array()) Malformed("\"args\" must be an array of arguments by position");
  for (const Json& value : given) args.push_back(FromJson(value, handles));
  return args;
}

// The scripted answers of a request's "dialogs", in the order the dialogs
// will come: {"choose": n}, {"file": "path"}, {"odbc": "DRIVER=..."}, {"cancel": true}.
std::vector<rt::DialogScript> DialogScripts(const Json& given) {
  using Kind = rt::DialogScript::Kind;
  if (!given.is_array()) Malformed("\"dialogs\" must be an array");
  std::vector<rt::DialogScript> scripts;
  for (const Json& answer : given) {
    if (!answer.is_object() || answer.size() != 1) {
      Malformed(
          "a dialog answer is one of {\"choose\": n}, {\"file\": \"path\"}, "
          "{\"odbc\": \"...\"}, {\"cancel\": true}");
    }
    if (answer.contains("choose")) {
      scripts.push_back({Kind::Choose, LongFromJson(answer.at("choose")), {}});
    } else if (answer.contains("file")) {
      scripts.push_back({Kind::File, 0, answer.at("file").get<std::string>()});
    } else if (answer.contains("odbc")) {
      scripts.push_back({Kind::DataSource, 0, answer.at("odbc").get<std::string>()});
    } else if (answer.contains("cancel")) {
      scripts.push_back({Kind::Cancel, 0, {}});
    } else {
      Malformed("unknown dialog answer " + answer.dump());
    }
  }
  return scripts;
}

// A dialog the host showed, as a response lists it; "answer" is null for a cancel.
Json DialogJson(const rt::ShownDialog& d) {
  Json j = Json::object();
  j["kind"] = d.kind;
  if (d.kind == "DataType") {
    j["list"] = d.type.items;
    j["default"] = d.type.listIndex;
    Json captions = Json::object();
    captions["cmdOK"] = d.type.okCaption;
    captions["cmdCancel"] = d.type.cancelCaption;
    j["captions"] = std::move(captions);
    j["answer"] = d.cancelled ? Json(nullptr) : Json(d.choice);
    return j;
  }
  if (d.kind == "File") {
    j["title"] = d.file.title;
    j["filter"] = d.file.filter;
    j["flags"] = d.file.flags;
    j["defaultExt"] = d.file.defaultExt;
    j["filterIndex"] = d.file.filterIndex;
    j["fileName"] = d.file.fileName;
    j["cancelError"] = d.file.cancelError;
  }
  // The data source's connection string may hold a password.
  const std::string answer = d.kind == "File" ? d.answer : dal::RedactPasswords(d.answer);
  j["answer"] = d.cancelled ? Json(nullptr) : Json(answer);
  return j;
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
  // Handle answers everything it is given; what can fail here is reading the
  // line, which is refused before parsing when it nests too deep to parse safely.
  Json response;
  try {
    if (NestingDepth(line) > kMaxRequestDepth) {
      rt::RaiseDetailed(rt::err::kOutOfStackSpace,
                        "the request nests more than " + std::to_string(kMaxRequestDepth) +
                            " arrays or objects deep",
                        kSource);
    }
    response = Handle(Json::parse(line));
  } catch (const Json::parse_error& e) {
    response = Refusal({rt::err::kInvalidProcCall, kSource,
                        std::string("Malformed request: not JSON: ") + e.what()});
  } catch (const Json::out_of_range& e) {  // a number too large for the parser to hold
    response =
        Refusal({rt::err::kOverflow, kSource, std::string("Malformed request: ") + e.what()});
  } catch (...) {
    response = Refusal(rt::ErrorFromCurrentException());
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
      std::vector<int> answers;
      for (const Json& answer : request.at("answers")) answers.push_back(LongFromJson(answer));
      host_->ScriptAnswers(std::move(answers));
    } else {
      host_->ScriptAnswers({});
    }
    host_->ScriptDialogs(request.contains("dialogs") ? DialogScripts(request.at("dialogs"))
                                                     : std::vector<rt::DialogScript>{});
    if (request.contains("call")) {
      response["result"] = Call(request, response);
    } else if (request.contains("get")) {
      response["result"] = GetMember(request);
    } else if (request.contains("set")) {
      response["result"] = SetMember(request);
    } else if (request.contains("invoke")) {
      response["result"] = Invoke(request, response);
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
      Malformed("expected one of call, get, set, invoke, new, release, exec, inspect");
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
  Json dialogs = Json::array();
  for (const rt::ShownDialog& dialog : host_->dialogs()) dialogs.push_back(DialogJson(dialog));
  response["dialogs"] = std::move(dialogs);
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

// A property read late-bound, as a host's script reads it; an object comes
// back as a handle.
Json Session::GetMember(const Json& request) {
  const rt::Variant target = TargetOf(request, handles_);
  const std::string name = request.at("get").get<std::string>();
  return ToJson(rt::GetProp(target, name, PositionalArgs(request, handles_)), handles_);
}

// A property written late-bound; "args" index it, as in ItemData(i) = v.
Json Session::SetMember(const Json& request) {
  const rt::Variant target = TargetOf(request, handles_);
  const std::string name = request.at("set").get<std::string>();
  if (!request.contains("value")) Malformed("\"set\" needs \"value\"");
  const rt::Variant value = FromJson(request.at("value"), handles_);
  rt::SetProp(target, name, value, PositionalArgs(request, handles_));
  return nullptr;
}

// A method called late-bound. Every argument comes back in "byref" after the
// call, as the method left it (Execute's rows affected, say), also when the
// call failed.
Json Session::Invoke(const Json& request, Json& response) {
  const rt::Variant target = TargetOf(request, handles_);
  const std::string name = request.at("invoke").get<std::string>();
  std::vector<rt::Variant> args = PositionalArgs(request, handles_);
  auto byref = [&] {
    Json out = Json::array();
    for (const rt::Variant& v : args) out.push_back(ToJson(v, handles_));
    return out;
  };
  Json result;
  try {
    result = ToJson(rt::LateBoundTarget(target).Call(name, args), handles_);
  } catch (...) {
    response["byref"] = byref();
    throw;
  }
  response["result"] = result;  // keeps "result" first
  response["byref"] = byref();
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
  const Json given = request.value("args", Json::object());
  if (!given.is_object()) Malformed("\"args\" must be an object of named arguments");
  NamedArgs args;
  for (const auto& [key, value] : given.items()) args.emplace_back(key, FromJson(value, handles_));
  return ToJson(rt::Variant(NewObject(type, args)), handles_);
}

Json Session::Inspect(const Json& request) {
  const rt::Variant target = FromJson(request.at("inspect"), handles_);
  if (!target.IsObject() || !target.AsObject()) Malformed("\"inspect\" takes {\"handle\": ...}");
  const std::string type = rt::TypeName(target);
  if (type == "ListBox" || type == "ComboBox") return InspectList(target);
  if (type == "ProgressBar" || type == "Label") return InspectProgress(target, type);
  if (type == "Recordset") return InspectRecordset(target, handles_);
  if (type == "Connection") return InspectConnection(target);
  if (type == "Database") return InspectDatabase(target);
  rt::Raise(rt::err::kNotSupported, "Objects of type '" + type + "' cannot be inspected", kSource);
}

// Raw SQL on a connection, for test set-up: rows as inspect shows them (all
// of them, counted), or the number of rows changed.
Json Session::Exec(const Json& request) {
  if (!request.contains("conn")) Malformed("\"exec\" needs \"conn\": {\"handle\": ...}");
  auto cn = rt::ObjectAs<dal::Connection>(FromJson(request.at("conn"), handles_));
  std::int64_t affected = -1;
  auto rs = cn->Execute(request.at("exec").get<std::string>(), &affected, -1, 3);
  if (rs->State() == 1) return InspectRecordset(rt::Variant(rt::ObjectRef(rs)), handles_);
  return Json{{"rowsAffected", affected}};
}

}  // namespace zmdb::automation

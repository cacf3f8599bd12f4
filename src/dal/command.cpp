#include "zmdb/dal/command.h"

#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal {

using rt::NameEquals;
using rt::Variant;

namespace {

constexpr const char* kCommandSource = "ADODB.Command";

[[noreturn]] void BadArguments(const std::string& why) {
  rt::RaiseDetailed(rt::err::kBadArguments, why, kCommandSource);
}

// What a parameter keeps when given `value`. A parameter's value is data for
// the statement, so an object stands for its default value (a Field's value,
// another Parameter's value), as assigning an object to a value does; Nothing
// raises 91. Keeping the object itself would also let a parameter hold itself
// or two hold each other, a cycle that is never freed.
Variant ParameterValue(const Variant& value) {
  if (!value.IsObject()) return value;
  const rt::ObjectRef& object = value.AsObject();
  if (!object) rt::Raise(rt::err::kObjectNotSet);
  Variant held = object->DefaultValue();
  if (held.IsObject()) rt::Raise(rt::err::kTypeMismatch);
  return held;
}

}  // namespace

Result Backend::ExecuteCommand(std::string_view, bool, std::vector<CommandParameter>&) {
  rt::RaiseStandard(rt::err::kAdoNotSupported, kCommandSource);
}

// A store copies row by row unless it says otherwise.
std::optional<std::int64_t> Backend::CopyRowsFrom(Backend&, const BulkCopy&) {
  return std::nullopt;
}

// ---- Parameter ----

void Parameter::SetDirection(int direction) {
  if (direction < ado::adParamInput || direction > ado::adParamReturnValue) {
    BadArguments("direction " + std::to_string(direction));
  }
  data_.direction = direction;
}

Variant Parameter::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(data_.name);
  if (NameEquals(name, "Type")) return Variant(data_.adoType);
  if (NameEquals(name, "Direction")) return Variant(static_cast<std::int32_t>(data_.direction));
  if (NameEquals(name, "Size")) return Variant(data_.size);
  if (NameEquals(name, "Value")) return data_.value;
  if (NameEquals(name, "Precision")) return Variant(static_cast<std::uint8_t>(data_.precision));
  if (NameEquals(name, "NumericScale")) return Variant(static_cast<std::uint8_t>(data_.scale));
  if (NameEquals(name, "Attributes")) return Variant(std::int32_t{0});
  return Object::GetProperty(name, index);
}

void Parameter::SetProperty(std::string_view name, const Variant& value,
                            const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return void(data_.name = rt::CStr(value));
  if (NameEquals(name, "Type")) return void(data_.adoType = rt::CLng(value));
  if (NameEquals(name, "Direction")) return SetDirection(rt::CLng(value));
  if (NameEquals(name, "Size")) {
    const std::int32_t size = rt::CLng(value);
    if (size < 0) BadArguments("negative size");
    return void(data_.size = size);
  }
  if (NameEquals(name, "Value")) return void(data_.value = ParameterValue(value));
  if (NameEquals(name, "Precision")) return void(data_.precision = rt::CLng(value));
  if (NameEquals(name, "NumericScale")) return void(data_.scale = rt::CLng(value));
  if (NameEquals(name, "Attributes")) return;
  Object::SetProperty(name, value, index);
}

// ---- Parameters ----

std::shared_ptr<Parameter> Parameters::Item(const Variant& index) const {
  if (index.IsString()) {
    for (const auto& p : items_) {
      if (NameEquals(p->data().name, index.AsString())) return p;
    }
  } else if (index.IsNumeric()) {
    const std::int32_t i = rt::CLng(index);
    if (i >= 0 && i < Count()) return items_[static_cast<std::size_t>(i)];
  }
  RaiseItemNotFound(kCommandSource);
}

void Parameters::Append(const Variant& parameter) {
  std::shared_ptr<Parameter> p;
  if (parameter.IsObject()) p = std::dynamic_pointer_cast<Parameter>(parameter.AsObject());
  if (!p) BadArguments("only a Parameter object can be appended");
  for (const auto& q : items_) {
    if (q == p) BadArguments("the parameter is in the collection already");
    if (!p->data().name.empty() && NameEquals(q->data().name, p->data().name)) {
      BadArguments("a parameter named '" + p->data().name + "' exists already");
    }
  }
  items_.push_back(std::move(p));
}

void Parameters::Delete(const Variant& index) {
  const auto p = Item(index);
  items_.erase(std::find(items_.begin(), items_.end(), p));
}

Variant Parameters::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Count")) return Variant(Count());
  if (NameEquals(name, "Item")) return Variant(rt::ObjectRef(Item(rt::ArgAt(index, 0))));
  return Object::GetProperty(name, index);
}

Variant Parameters::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Append")) return Append(rt::ArgAt(args, 0)), Variant();
  if (NameEquals(name, "Delete")) return Delete(rt::ArgAt(args, 0)), Variant();
  if (NameEquals(name, "Item")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// ---- Command ----

// A command with no connection, no text, and no parameters.
std::shared_ptr<Command> Command::Create() {
  return std::shared_ptr<Command>(new Command());
}

void Command::SetActiveConnection(const Variant& connection) {
  if (connection.IsObject()) {
    if (!connection.AsObject()) {
      connection_.reset();
      return;
    }
    connection_ = rt::ObjectAs<Connection>(connection);
    return;
  }
  auto cn = Connection::Create();
  cn->Open(rt::CStr(connection));
  connection_ = std::move(cn);
}

void Command::SetCommandType(int type) {
  if (type != -1 && type != ado::adCmdText && type != ado::adCmdTable &&
      type != ado::adCmdStoredProc && type != ado::adCmdUnknown && type != ado::adCmdTableDirect) {
    BadArguments("command type " + std::to_string(type));
  }
  type_ = type;
}

std::shared_ptr<Parameter> Command::CreateParameter(const std::string& name, std::int32_t type,
                                                    int direction, std::int32_t size,
                                                    const Variant& value) const {
  auto p = std::make_shared<Parameter>();
  p->data().name = name;
  p->data().adoType = type;
  p->SetDirection(direction);
  if (size < 0) BadArguments("negative size");
  p->data().size = size;
  p->data().value = value.IsMissing() ? Variant() : ParameterValue(value);
  return p;
}

std::shared_ptr<Recordset> Command::Execute(std::int64_t* rowsAffected, const Variant& values) {
  if (!connection_ || connection_->State() == 0) {
    rt::RaiseStandard(rt::err::kConnectionUnusable, kCommandSource);
  }
  if (text_.empty()) {
    rt::RaiseStandard(rt::err::kNoCommandText, kCommandSource);
  }
  const auto& items = parameters_->items();
  if (values.IsArray()) {
    const auto& given = values.AsArray().items();
    for (std::size_t i = 0; i < given.size() && i < items.size(); ++i) {
      items[i]->data().value = ParameterValue(given[i]);
    }
  }
  // A text value of no declared type goes as a string sized by the value.
  std::vector<CommandParameter> params;
  for (const auto& p : items) {
    CommandParameter c = p->data();
    if (c.adoType == 0 && c.value.IsString()) {
      c.adoType = 200;
      c.size = std::max<std::int32_t>(
          c.size, static_cast<std::int32_t>(rt::Utf8Length(c.value.AsString())));
    }
    params.push_back(std::move(c));
  }
  const bool procedure = type_ == ado::adCmdStoredProc;
  std::string text = text_;
  if (type_ == ado::adCmdTable || type_ == ado::adCmdTableDirect) {
    text = "SELECT * FROM " + TableSource(text, connection_->backend().quirks());
  }
  if (!procedure && params.empty()) return connection_->Execute(text, rowsAffected);
  auto conn = connection_;
  Result result = conn->Guarded([&] {
    conn->Trace(procedure ? "{call " + text + "}" : text);
    return conn->backend().ExecuteCommand(text, procedure, params);
  });
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (params[i].direction != ado::adParamInput) items[i]->data().value = params[i].value;
  }
  if (rowsAffected) *rowsAffected = result.rowsAffected;
  auto rs = Recordset::Create();
  if (result.cursor) {
    rs->OpenResult(conn, std::move(result), ado::adOpenForwardOnly, ado::adLockReadOnly, text);
  } else {
    rs->HoldBatch(conn, std::move(result.batch));
  }
  return rs;
}

Variant Command::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "ActiveConnection")) {
    return connection_ ? Variant(rt::ObjectRef(connection_)) : Variant(rt::ObjectRef());
  }
  if (NameEquals(name, "CommandText")) return Variant(text_);
  if (NameEquals(name, "CommandType")) return Variant(static_cast<std::int32_t>(type_));
  if (NameEquals(name, "Parameters")) {
    if (index.empty()) return Variant(rt::ObjectRef(parameters_));
    return Variant(rt::ObjectRef(parameters_->Item(index[0])));
  }
  if (NameEquals(name, "CommandTimeout")) return Variant(30);
  if (NameEquals(name, "Prepared")) return Variant(false);
  if (NameEquals(name, "State")) return Variant(0);
  return Object::GetProperty(name, index);
}

void Command::SetProperty(std::string_view name, const Variant& value,
                          const std::vector<Variant>& index) {
  if (NameEquals(name, "ActiveConnection")) return SetActiveConnection(value);
  if (NameEquals(name, "CommandText")) return SetCommandText(rt::CStr(value));
  if (NameEquals(name, "CommandType")) return SetCommandType(rt::CLng(value));
  if (NameEquals(name, "CommandTimeout") || NameEquals(name, "Prepared")) return;
  Object::SetProperty(name, value, index);
}

Variant Command::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateParameter")) {
    const Variant& n = rt::ArgAt(args, 0);
    return Variant(rt::ObjectRef(CreateParameter(n.IsMissing() ? std::string() : rt::CStr(n),
                                                 rt::OptLongArg(args, 1, 0),
                                                 rt::OptLongArg(args, 2, ado::adParamInput),
                                                 rt::OptLongArg(args, 3, 0), rt::ArgAt(args, 4))));
  }
  if (NameEquals(name, "Execute")) {
    std::int64_t affected = -1;
    auto rs = Execute(&affected, rt::ArgAt(args, 1));
    if (!args.empty() && !args[0].IsMissing()) {
      args[0] = Variant(static_cast<std::int32_t>(affected));
    }
    return Variant(rt::ObjectRef(rs));
  }
  if (NameEquals(name, "Parameters")) return GetProperty(name, args);
  return Object::Call(name, args);
}

}  // namespace zmdb::dal

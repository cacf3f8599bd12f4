// Command, Parameters and Parameter: a statement with "?" parameters, or a
// stored procedure, run on a connection, with output parameters and return
// values read back after the rows. The file store runs statements with
// input parameters; procedures need a server store.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {

class Connection;
class Recordset;

namespace ado {
inline constexpr int adParamUnknown = 0, adParamInput = 1, adParamOutput = 2,
                     adParamInputOutput = 3, adParamReturnValue = 4;
}  // namespace ado

class Parameter : public rt::Object {
 public:
  std::string TypeName() const override { return "Parameter"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant DefaultValue() override { return data_.value; }

  CommandParameter& data() { return data_; }
  const CommandParameter& data() const { return data_; }
  // Direction 1 to 4; anything else raises 0x800A0BB9.
  void SetDirection(int direction);

 private:
  CommandParameter data_;
};

class Parameters : public rt::Object {
 public:
  std::string TypeName() const override { return "Parameters"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
  // By position (0-based) or by name without regard to case; 0x800A0CC1
  // when there is none.
  std::shared_ptr<Parameter> Item(const rt::Variant& index) const;
  // A parameter object not yet in any collection; 0x800A0BB9 for anything
  // else, and for a name already used.
  void Append(const rt::Variant& parameter);
  void Delete(const rt::Variant& index);
  const std::vector<std::shared_ptr<Parameter>>& items() const { return items_; }

 private:
  std::vector<std::shared_ptr<Parameter>> items_;
};

class Command : public rt::Object {
 public:
  static std::shared_ptr<Command> Create();
  std::string TypeName() const override { return "Command"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // A Connection object, or a connection string opened into a new one.
  void SetActiveConnection(const rt::Variant& connection);
  void SetCommandText(std::string text) { text_ = std::move(text); }
  // 1 text, 2 table, 4 stored procedure, 8 unknown (text), -1 unspecified (text).
  void SetCommandType(int type);
  const std::shared_ptr<Parameters>& parameters() const { return parameters_; }
  // Name, ADO type, direction, size and value; left-out values stay Empty.
  std::shared_ptr<Parameter> CreateParameter(const std::string& name, std::int32_t type,
                                             int direction, std::int32_t size,
                                             const rt::Variant& value) const;
  // Run the command: a recordset, open when rows came back; the count of
  // rows changed in `rowsAffected`; `values`, when given, are the input
  // values of the parameters in order. Output and return values are in the
  // parameters afterwards.
  std::shared_ptr<Recordset> Execute(std::int64_t* rowsAffected = nullptr,
                                     const rt::Variant& values = rt::Variant::Missing());

 private:
  Command() = default;
  std::shared_ptr<Connection> connection_;
  std::string text_;
  int type_ = -1;
  std::shared_ptr<Parameters> parameters_ = std::make_shared<Parameters>();
};

}  // namespace zmdb::dal

// What the schema methods say only to SQL Server: the rename procedure.
#include "server_p.h"
#include "zmdb/dal/command.h"

namespace zmdb::schema {

bool RenameOnServer(clsZMDBFunc& object, const rt::Variant& conn, const RenameArguments& args) {
  std::vector<rt::Variant> parameters;
  for (const std::string& value : args) {
    auto p = std::make_shared<dal::Parameter>();
    p->data().value = rt::Variant(value);
    parameters.emplace_back(rt::ObjectRef(std::move(p)));
  }
  const rt::SafeArray input(rt::VarType::Object, 0, std::move(parameters));
  return object.dbExecProc(conn, std::string(kRenameProcedure), input);
}

}  // namespace zmdb::schema

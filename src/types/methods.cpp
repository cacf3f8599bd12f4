// The type-vocabulary methods of the component object: pure look-ups, except
// that the two conversions tell the user about a code they do not know.
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"
#include "zmdb/types/typemap.h"

namespace zmdb {

namespace {
// A conversion result of 0 means the code is not in the table: say so.
std::int32_t Converted(std::int32_t from, std::int32_t to) {
  if (to == 0) rt::MsgBox(types::NoDefineMessage(from), rt::mb::kOKOnly);
  return to;
}
}  // namespace

std::string clsZMDBFunc::dbGetFldTypeDesc(std::int32_t iType, bool bIsADO) {
  return types::FieldTypeDesc(iType, bIsADO);
}

std::int32_t clsZMDBFunc::dbAdo2DaoType(std::int32_t flType) {
  return Converted(flType, types::AdoToDao(flType));
}

std::int32_t clsZMDBFunc::dbDao2AdoType(std::int32_t flType) {
  return Converted(flType, types::DaoToAdo(flType));
}

std::string clsZMDBFunc::dbGetHXType(std::int32_t flType, bool fbIsDAO) {
  const std::int32_t dao = fbIsDAO ? flType : dbAdo2DaoType(flType);
  return types::HXTypeOfDao(dao);
}

std::string clsZMDBFunc::dbGetFieldType(std::int32_t flType, bool fbIsAdo) {
  return types::FieldCategory(flType, fbIsAdo);
}

std::string clsZMDBFunc::dbGetDAODesc(std::int32_t feDAO) {
  return types::DaoConstantName(feDAO);
}

}  // namespace zmdb

// The field-type vocabulary: closed look-up tables over the ADO and DAO
// type numberings. The tables are deliberately not symmetric.
#pragma once

#include <cstdint>
#include <string>

#include "zmdb/dal/typecodes.h"

namespace zmdb::types {

// The ADO and DAO codes and their conversions, shared with the data-access layer.
namespace ado = dal::typecodes::ado;
namespace dao = dal::typecodes::dao;
using dal::typecodes::AdoToDao;
using dal::typecodes::DaoToAdo;

// Display name of a code in the ADO (isAdo) or DAO table; "" when not listed.
std::string FieldTypeDesc(std::int32_t code, bool isAdo);
// The library's column-type word for a DAO code ("VARCHAR", "INT", ...); "" otherwise.
std::string HXTypeOfDao(std::int32_t daoCode);
// Category word ("Numeric", "Date", "Character", "Binary", "Other") or "".
std::string FieldCategory(std::int32_t code, bool isAdo);
// DAO constant name with the "edb" prefix; "" outside the table.
std::string DaoConstantName(std::int32_t daoCode);
// The text of the box shown for a code that a conversion does not know.
std::string NoDefineMessage(std::int32_t code);

}  // namespace zmdb::types

// The translation method of the component object: no trap of its own, so a
// malformed FORMAT reaches the caller as a failed call.
#include "zmdb/frame/component.h"
#include "zmdb/sqlconv/translator.h"

namespace zmdb {

std::string clsZMDBFunc::dbCSql(const std::string& fsSQL) {
  return sqlconv::TranslateJetToSql(fsSQL);
}

}  // namespace zmdb

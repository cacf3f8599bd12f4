// The conversions between the ADO and DAO type numberings. Each table is
// closed and the two disagree on purpose (lossy round trips); callers rely
// on that, so neither is completed or made symmetric.
#include "zmdb/dal/typecodes.h"

namespace zmdb::dal::typecodes {

// Maps an ADO code to the DAO code used for it in Jet table definitions; 0
// when unknown. The 32-bit and pointer types deliberately map to dbInteger.
std::int32_t AdoToDao(std::int32_t adoCode) {
  using namespace ado;
  using namespace dao;
  switch (adoCode) {
    case adEmpty:
    case adBSTR:
    case adError:
    case adVariant:
    case adChar:
    case adWChar:
    case adUserDefined:
    case adVarChar:
    case adVarWChar:
      return dbText;
    case adSmallInt:
    case adInteger:
    case adIDispatch:
    case adIUnknown:
    case adTinyInt:
    case adUnsignedSmallInt:
    case adUnsignedInt:
      return dbInteger;
    case adSingle:
      return dbSingle;
    case adDouble:
      return dbDouble;
    case adCurrency:
      return dbCurrency;
    case adDate:
    case adDBDate:
      return dbDate;
    case adBoolean:
      return dbBoolean;
    case adDecimal:
      return dbDecimal;
    case adUnsignedTinyInt:
      return dbByte;
    case adBigInt:
    case adUnsignedBigInt:
      return dbBigInt;
    case adGUID:
      return dbGUID;
    case adBinary:
    case adVarBinary:
      return dbBinary;
    case adNumeric:
      return dbNumeric;
    case adDBTime:
      return dbTime;
    case adDBTimeStamp:
      return dbTimeStamp;
    case adLongVarChar:
    case adLongVarWChar:
      return dbMemo;
    case adLongVarBinary:
      return dbLongBinary;
    default:
      return 0;
  }
}

// Maps a DAO code to an ADO code; 0 when unknown. dbVarBinary, dbChar and
// dbFloat are intentionally unmapped even though AdoToDao never yields them.
std::int32_t DaoToAdo(std::int32_t daoCode) {
  using namespace ado;
  using namespace dao;
  switch (daoCode) {
    case dbBoolean:
      return adBoolean;
    case dbByte:
      return adUnsignedTinyInt;
    case dbInteger:
    case dbLong:
      return adInteger;
    case dbCurrency:
      return adCurrency;
    case dbSingle:
      return adSingle;
    case dbDouble:
      return adDouble;
    case dbDate:
      return adDate;
    case dbBinary:
      return adBinary;
    case dbText:
      return adVarWChar;
    case dbLongBinary:
      return adLongVarBinary;
    case dbMemo:
      return adLongVarWChar;
    case dbGUID:
      return adGUID;
    case dbBigInt:
      return adBigInt;
    case dbNumeric:
      return adNumeric;
    case dbDecimal:
      return adDecimal;
    case dbTime:
      return adDBTime;
    case dbTimeStamp:
      return adDBTimeStamp;
    default:
      return 0;
  }
}

}  // namespace zmdb::dal::typecodes

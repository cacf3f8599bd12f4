// The ADO and DAO type numberings and the conversions between them, as the
// data-access layer and the component both use them. The conversion tables
// are deliberately not symmetric.
#pragma once

#include <cstdint>

namespace zmdb::dal::typecodes {

// ADO DataTypeEnum values.
namespace ado {
inline constexpr std::int32_t adEmpty = 0, adSmallInt = 2, adInteger = 3, adSingle = 4,
                              adDouble = 5, adCurrency = 6, adDate = 7, adBSTR = 8, adIDispatch = 9,
                              adError = 10, adBoolean = 11, adVariant = 12, adIUnknown = 13,
                              adDecimal = 14, adTinyInt = 16, adUnsignedTinyInt = 17,
                              adUnsignedSmallInt = 18, adUnsignedInt = 19, adBigInt = 20,
                              adUnsignedBigInt = 21, adGUID = 72, adBinary = 128, adChar = 129,
                              adWChar = 130, adNumeric = 131, adUserDefined = 132, adDBDate = 133,
                              adDBTime = 134, adDBTimeStamp = 135, adVarChar = 200,
                              adLongVarChar = 201, adVarWChar = 202, adLongVarWChar = 203,
                              adVarBinary = 204, adLongVarBinary = 205;
}  // namespace ado

// DAO DataTypeEnum values.
namespace dao {
inline constexpr std::int32_t dbBoolean = 1, dbByte = 2, dbInteger = 3, dbLong = 4, dbCurrency = 5,
                              dbSingle = 6, dbDouble = 7, dbDate = 8, dbBinary = 9, dbText = 10,
                              dbLongBinary = 11, dbMemo = 12, dbGUID = 15, dbBigInt = 16,
                              dbVarBinary = 17, dbChar = 18, dbNumeric = 19, dbDecimal = 20,
                              dbFloat = 21, dbTime = 22, dbTimeStamp = 23;
}  // namespace dao

// ADO code to DAO code; 0 when not listed (the caller shows the message).
std::int32_t AdoToDao(std::int32_t adoCode);
// DAO code to ADO code; 0 when not listed (the caller shows the message).
std::int32_t DaoToAdo(std::int32_t daoCode);

}  // namespace zmdb::dal::typecodes

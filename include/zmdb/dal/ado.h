// Numbers of the data-access object model: cursor, lock and cursor-location
// kinds, object states, field attributes, the sources the layer's errors
// name, and its common refusals (the numbers are in the runtime's error table).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zmdb/runtime/error.h"

namespace zmdb::dal {

namespace ado {
inline constexpr int adOpenUnspecified = -1, adOpenForwardOnly = 0, adOpenKeyset = 1,
                     adOpenDynamic = 2, adOpenStatic = 3;
inline constexpr int adLockUnspecified = -1, adLockReadOnly = 1, adLockPessimistic = 2,
                     adLockOptimistic = 3, adLockBatchOptimistic = 4;
inline constexpr int adUseServer = 2, adUseClient = 3;
inline constexpr int adStateClosed = 0, adStateOpen = 1;
inline constexpr int adCmdUnspecified = -1, adCmdText = 1, adCmdTable = 2, adCmdStoredProc = 4,
                     adCmdUnknown = 8, adCmdTableDirect = 512;
inline constexpr int adEditNone = 0, adEditInProgress = 1, adEditAdd = 2;
inline constexpr std::int32_t adFldUnspecified = -1, adFldMayDefer = 0x2, adFldUpdatable = 0x4,
                              adFldUnknownUpdatable = 0x8, adFldFixed = 0x10,
                              adFldIsNullable = 0x20, adFldMayBeNull = 0x40, adFldLong = 0x80,
                              adFldRowID = 0x100, adFldKeyColumn = 0x8000;
inline constexpr int adSchemaCatalogs = 1, adSchemaTables = 20;
}  // namespace ado

inline constexpr const char* kAdoSource = "ADODB.Recordset";
inline constexpr const char* kConnectionSource = "ADODB.Connection";

// The layer's common refusals, with the texts callers know them by.
[[noreturn]] inline void RaiseClosed(const char* source) {
  rt::RaiseStandard(rt::err::kObjectClosed, source);
}
[[noreturn]] inline void RaiseOpen(const char* source) {
  rt::RaiseStandard(rt::err::kObjectOpen, source);
}
[[noreturn]] inline void RaiseItemNotFound(const char* source) {
  rt::RaiseStandard(rt::err::kAdoItemNotFound, source);
}

// What a store tells of one error record beyond Number, Source and
// Description: its own error number and the SQLSTATE.
struct ErrorDetail {
  std::int32_t nativeError = 0;
  std::string sqlState;
};

// A failure of a store with every diagnostic record it gave (the first is
// the one the platform error carries); `details` is empty or runs parallel
// to the records.
class ProviderError : public rt::PlatformError {
 public:
  explicit ProviderError(std::vector<rt::ErrorInfo> records, std::vector<ErrorDetail> details = {})
      : rt::PlatformError(records.empty() ? rt::ErrorInfo{} : records.front()),
        records_(std::move(records)),
        details_(std::move(details)) {}
  const std::vector<rt::ErrorInfo>& records() const { return records_; }
  const std::vector<ErrorDetail>& details() const { return details_; }

 private:
  std::vector<rt::ErrorInfo> records_;
  std::vector<ErrorDetail> details_;
};

}  // namespace zmdb::dal

// Database targets of SELECT ... INTO. Placeholder until the file-store and
// ODBC writers are written: both refuse with "not supported".
#include "zmdb/dal/formats/targets.h"

#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats {

std::unique_ptr<TableWriter> OpenFileStoreWriter(const std::string&, const std::string&,
                                                 const std::string&, const WriterOptions&) {
  rt::RaiseDetailed(rt::err::kNotSupported, "a file-store target is not written yet");
}

std::unique_ptr<TableWriter> OpenOdbcWriter(const std::string&, const std::string&,
                                            const WriterOptions&) {
  rt::RaiseDetailed(rt::err::kNotSupported, "an ODBC target is not written yet");
}

}  // namespace zmdb::dal::formats

// Delimited text: a comma-separated file with a header row of field names,
// described to readers by an entry in the folder's schema.ini.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

// A writer of `<folder>/<name>.txt` (".txt" is not added again when `name`
// ends with it). Fields are separated by commas, text is in double quotes
// (a quote inside doubled), lines end with CR LF, and the text is in
// `options.codePage`. Nulls are empty fields, an empty text is "". Dates are
// written yyyy-mm-dd, with hh:nn:ss when they hold a time; Booleans True or
// False; binary values are not written. At Finish the file takes its name
// and schema.ini in the folder gets the file's entry (ColNameHeader,
// Format=CSVDelimited, CharacterSet, DateTimeFormat and one ColN line per
// column), replacing an entry of the same file and keeping the others.
std::unique_ptr<TableWriter> OpenTextWriter(const std::string& folder, const std::string& name,
                                            const WriterOptions& options);

// Takes the entry of `file` ("name.txt") out of `folder`'s schema.ini, whose
// section names are in `codePage`; schema.ini goes when nothing is left in it.
void RemoveSchemaEntry(const std::string& folder, const std::string& file, int codePage = 936);

}  // namespace zmdb::dal::formats

// Paradox tables (.db, with a .mb file beside it for memo and binary values)
// in the table versions 3.x and 4.x.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

enum class ParadoxVersion { v3, v4 };

// A writer of the Paradox table at `path` (created or replaced). Text goes in
// options.codePage. Column types become the field types the version has:
//   text up to 255 bytes   -> Alpha (the declared characters times the bytes a
//                             character can take in the code page, at most 255)
//   long text / memo       -> Memo in 4.x (text in the .mb file); in 3.x, which
//                             has no memo, Alpha 255 holding the first 255 bytes
//   small integers         -> Short; other numbers -> Number (a double)
//   currency               -> Money
//   Boolean                -> Short holding 1 or 0 (neither version has Logical)
//   date and date-time     -> Date (the day; neither version stores a time)
//   time of day            -> Alpha 8, "hh:mm:ss"
//   binary                 -> Binary in 4.x (in the .mb file); refused in 3.x
// A text value longer than its field is cut at a character boundary.
std::unique_ptr<TableWriter> OpenParadoxWriter(const std::string& path, ParadoxVersion version,
                                               const WriterOptions& options = {});

}  // namespace zmdb::dal::formats

// Filling list and combo boxes: the statement dbAddCtrlEx reads its rows
// from, built by plain concatenation of the caller's text.
#pragma once

#include <string>
#include <string_view>

namespace zmdb::ui {

// "SELECT * FROM t", then " WHERE cond" when a condition is given and
// " ORDER BY sort" when a sort is given. The table name goes in as given:
// no brackets, no quoting.
std::string ListSourceStatement(std::string_view table, std::string_view condition,
                                std::string_view sort);

}  // namespace zmdb::ui

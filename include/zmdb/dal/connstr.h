// The pieces of connection-string text every layer reads the same way: the
// data-shaping prefix and the key=value parsing. The router reads strings
// with them; the component's string builders write the prefix.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zmdb::dal {

// What a data-shaping connection string starts with.
inline constexpr std::string_view kShapePrefix = "PROVIDER=MSDataShape;DATA ";

// `s` without blanks, tabs and line ends at either end.
std::string TrimBlanks(std::string_view s);

// Split "k=v;k=v" into pairs; keys are trimmed and upper-cased, values kept as
// written (a value in {braces} may hold ";").
std::map<std::string, std::string> ParseConnectionString(std::string_view text);

// The same pairs in the order written, keys trimmed but spelled as written.
std::vector<std::pair<std::string, std::string>> ParseConnectionPairs(std::string_view text);

}  // namespace zmdb::dal

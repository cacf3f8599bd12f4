// Jet-to-SQL-Server statement translation: a fixed sequence of textual
// rewrites over the whole statement (upper-casing, "#" to "'", ";" removed,
// "&" to "+", DELETE * FROM, MID, VAL, FORMAT and IIF). It is not a parser:
// each rule finds a keyword and scans naively for the next comma, quote or
// parenthesis, and that naivety is part of the contract.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zmdb::sqlconv {

// Translate a Jet statement into SQL Server SQL. Raises run-time error 5
// ("Invalid procedure call or argument") for a FORMAT( without a following
// comma, without a quoted format or without a ")" after it, and error 7 ("Out
// of memory") when a format text that itself holds FORMAT( makes the statement
// grow on every pass. An
// IIF( that is not followed by two commas and a ")" is left as it stands (the
// rewrite stops instead of repeating forever); well-formed input is unaffected
// by that guard.
std::string TranslateJetToSql(std::string_view statement);

// The text the FORMAT/IIF pass of TranslateJetToSql edits. Both give the same
// result for every statement and differ only in speed: a buffer is fastest for
// flat statements, a tree keeps nested calls linear. kAuto, what the one-argument
// form uses, starts with the buffer and starts again with the tree once the
// buffer's work passes a bound linear in the statement's length.
enum class PassText { kAuto, kBuffer, kTree };
std::string TranslateJetToSql(std::string_view statement, PassText text);

// What the FORMAT/IIF pass of one translation cost: the passes it began and
// the characters its text moved or scanned (summed over the buffer and the
// tree when it started again in the tree). Kept up to date pass by pass, so
// it also tells the cost of a translation that ended in an error.
struct PassCost {
  std::size_t passes = 0;
  std::size_t work = 0;
};
std::string TranslateJetToSql(std::string_view statement, PassText text, PassCost& cost);

// Replace every quoted literal, from an opening "'" to the next "'" inclusive,
// by as many blanks; an unclosed quote masks to the end. Same length as the input.
std::string MaskQuotes(std::string_view text);

// One occurrence found by the wildcard rewrite: the 1-based position just after
// the left delimiter, and the text captured between the delimiters.
struct Occurrence {
  std::size_t start = 0;
  std::string captured;
};

// Occurrences of `left` ... `right` (no nesting: each capture ends at the first
// `right` after its `left`), left to right.
std::vector<Occurrence> FindOccurrences(std::string_view text, std::string_view left,
                                        std::string_view right);

// Rewrite `text` replacing every match of `pattern` (which may hold one "*") by
// `replacement` (which may hold one "*" standing for the captured text).
// Without "*" in the pattern this is a plain replace-all.
std::string WildcardReplace(std::string_view text, std::string_view pattern,
                            std::string_view replacement);

}  // namespace zmdb::sqlconv

// Where a keyword search of the translator's pass texts may find its needle.
#pragma once

namespace zmdb::sqlconv {

// kOutside and kInside take the quote state just before each candidate: an
// even or an odd number of quotes before it. Their needles hold no quote.
enum class Scope { kAnywhere, kOutside, kInside };

}  // namespace zmdb::sqlconv

#pragma once
// "Did you mean ...?" for words the user mistyped: command names, flags,
// attribute names, node types.

#include <string>
#include <vector>

#include "HSyntax.h"

namespace hostdetail {

// The candidate closest to word, ignoring case, when it is close enough to
// be a slip of the fingers (a swapped pair of letters counts as one slip);
// "" when none is, or when word itself is one of them.
std::string closestWord(const std::string& word, const std::vector<std::string>& candidates);

// " Did you mean 'X'?" for the closest candidate, or "".
std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates);

// The flags of a syntax as typed, short and long ("-n", "-name"), in the
// order declared: the words a mistyped or half-typed flag is matched against.
std::vector<std::string> flagNames(const HSyntax& syntax);

}  // namespace hostdetail

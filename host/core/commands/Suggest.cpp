// Suggestions for mistyped words.

#include "Suggest.h"

#include <algorithm>
#include <cctype>

namespace hostdetail {

namespace {

std::string lowered(const std::string& text) {
  std::string out(text);
  for (char& c : out)
    c = char(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

// Edit distance in which swapping two neighbouring letters is one edit, as
// it is one slip when typing ("mvoe").
size_t slips(const std::string& a, const std::string& b) {
  const size_t n = a.size(), m = b.size();
  std::vector<std::vector<size_t>> d(n + 1, std::vector<size_t>(m + 1));
  for (size_t i = 0; i <= n; ++i)
    d[i][0] = i;
  for (size_t j = 0; j <= m; ++j)
    d[0][j] = j;
  for (size_t i = 1; i <= n; ++i) {
    for (size_t j = 1; j <= m; ++j) {
      const size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[n][m];
}

}  // namespace

std::string closestWord(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string typed = lowered(word);
  // Short words allow fewer slips, or every two-letter word would match.
  const size_t allowed = typed.size() <= 4 ? 1 : typed.size() <= 8 ? 2 : 3;
  std::string best;
  size_t bestSlips = allowed + 1;
  for (const std::string& candidate : candidates) {
    if (candidate == word)
      return std::string();
    const size_t d = slips(typed, lowered(candidate));
    if (d < bestSlips) {
      best = candidate;
      bestSlips = d;
    }
  }
  return best;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string best = closestWord(word, candidates);
  return best.empty() ? std::string() : " Did you mean '" + best + "'?";
}

std::vector<std::string> flagNames(const HSyntax& syntax) {
  std::vector<std::string> names;
  for (const HSyntax::Flag& flag : syntax.flags()) {
    names.push_back(flag.shortName.asStdString());
    names.push_back(flag.longName.asStdString());
  }
  return names;
}

}  // namespace hostdetail

#pragma once
// Completion of the word being typed at the prompt: command names first on a
// command, flags of that command after a dash, attribute long names after
// "node.", file and folder names where a path goes, node names elsewhere.
// The prompt's line editor asks; the answer depends only on the text, the
// scene and the files, so it is tested without a terminal.

#include <cstddef>
#include <string>
#include <vector>

namespace hostdetail {

struct Completion {
  // Where the word being completed starts in the line; the candidates
  // replace line[start, cursor).
  std::size_t start = 0;
  // Whole words that begin with what is typed, sorted, without duplicates.
  std::vector<std::string> candidates;
  // A finished candidate is a whole word (a command, a flag): a blank may
  // follow. Node names may go on with ".attribute" and folders (which end
  // in '/') with a file name, so they and paths are left open.
  bool wholeWord = false;
};

Completion completeAt(const std::string& line, std::size_t cursor);

// The characters that end a word for completion: blanks and ';'. Words run
// from one of them to the cursor.
constexpr const char* kCompletionWordBreaks = " \t\n;";

}  // namespace hostdetail

// Completion at the prompt, from the command table, the commands' syntax,
// the scene and the file system.

#include "Complete.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "BuiltinSupport.h"
#include "CommandRegistry.h"
#include "HFnDependencyNode.h"
#include "Suggest.h"

namespace hostdetail {

namespace {

bool isBreak(char c) {
  return std::strchr(kCompletionWordBreaks, c) != nullptr;
}

// The words of the command being typed, up to the cursor; the last one is
// the word being completed ("" right after a blank). False inside a quoted
// string or a comment, where nothing is completed.
bool wordsBeforeCursor(const std::string& line, std::size_t cursor, std::vector<std::string>& words,
                       std::size_t& lastStart) {
  bool quoted = false;
  bool inWord = false;
  words.clear();
  for (std::size_t i = 0; i < cursor; ++i) {
    const char c = line[i];
    if (quoted) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        quoted = false;
      continue;
    }
    if (c == '/' && i + 1 < cursor && line[i + 1] == '/' && !inWord)
      return false;
    if (c == ';') {
      words.clear();
      inWord = false;
    } else if (isBreak(c)) {
      inWord = false;
    } else {
      if (!inWord) {
        words.emplace_back();
        lastStart = i;
      }
      inWord = true;
      if (c == '"')
        quoted = true;
      words.back() += c;
    }
  }
  if (quoted)
    return false;
  if (!inWord) {
    words.emplace_back();
    lastStart = cursor;
  }
  return true;
}

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

void addMatching(std::vector<std::string>& out, const std::vector<std::string>& words,
                 const std::string& prefix, const std::string& lead = std::string()) {
  for (const std::string& word : words) {
    if (startsWith(word, prefix))
      out.push_back(lead + word);
  }
}

std::vector<std::string> commandWords() {
  std::vector<std::string> names;
  for (const HString& name : commandNames())
    names.push_back(name.asStdString());
  return names;
}

std::vector<std::string> nodeNames() {
  std::vector<std::string> names;
  for (const HObject& node : builtin::nodesMatching("*"))
    names.push_back(HFnDependencyNode(node).name().asStdString());
  return names;
}

// Whether the word is a file path: the argument of source and file, a path
// flag's value, or anything typed with a slash.
bool isPathWord(const std::vector<std::string>& words) {
  const std::string& word = words.back();
  if (word.find('/') != std::string::npos)
    return true;
  if (words.size() < 2 || startsWith(word, "-"))
    return false;
  const std::string& command = words.front();
  const std::string& previous = words[words.size() - 2];
  return command == "source" || command == "file" ||
         (command == "snapshot" && (previous == "-o" || previous == "-output"));
}

// The entries of the word's folder (the working folder for a bare name)
// whose names begin with the rest of the word, folders with a '/' after
// them. Hidden entries only when a '.' is typed.
void addPaths(std::vector<std::string>& out, const std::string& word) {
  const std::size_t slash = word.rfind('/');
  const std::string folder = slash == std::string::npos ? std::string() : word.substr(0, slash + 1);
  const std::string prefix = word.substr(folder.size());
  std::error_code error;
  namespace fs = std::filesystem;
  for (fs::directory_iterator it(folder.empty() ? "." : folder, error), end; !error && it != end;
       it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (!startsWith(name, prefix) || (name[0] == '.' && !startsWith(prefix, ".")))
      continue;
    out.push_back(folder + name + (it->is_directory(error) ? "/" : ""));
  }
}

}  // namespace

Completion completeAt(const std::string& line, std::size_t cursor) {
  Completion out;
  cursor = std::min(cursor, line.size());
  std::vector<std::string> words;
  if (!wordsBeforeCursor(line, cursor, words, out.start))
    return out;
  const std::string& word = words.back();
  if (words.size() == 1) {
    std::vector<std::string> names = commandWords();
    names.push_back("exit");
    names.push_back("quit");
    addMatching(out.candidates, names, word);
    out.wholeWord = true;
  } else if (isPathWord(words)) {
    addPaths(out.candidates, word);
  } else if (words.front() == "help") {
    addMatching(out.candidates, commandWords(), word);
    out.wholeWord = true;
  } else if (startsWith(word, "-")) {
    out.wholeWord = true;
    if (const CommandInfo* info = findCommand(HString(words.front())); info && info->syntax)
      addMatching(out.candidates, flagNames(info->syntax()), word);
  } else if (const std::size_t dot = word.find('.'); dot != std::string::npos) {
    std::string error;
    const HObject node = builtin::nodeByName(word.substr(0, dot), error);
    const std::size_t last = word.rfind('.');
    if (!node.isNull())
      addMatching(out.candidates, builtin::attributeNames(node, false), word.substr(last + 1),
                  word.substr(0, last + 1));
  } else {
    addMatching(out.candidates, nodeNames(), word);
  }
  std::sort(out.candidates.begin(), out.candidates.end());
  out.candidates.erase(std::unique(out.candidates.begin(), out.candidates.end()),
                       out.candidates.end());
  return out;
}

}  // namespace hostdetail

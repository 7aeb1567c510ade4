#include "CommandLanguage.h"

#include <cctype>
#include <utility>

namespace hostdetail {

namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

bool endsWord(char c) {
  return isBlank(c) || c == '\n' || c == ';' || c == '"';
}

}  // namespace

CommandReader::CommandReader(std::string text, int firstLine)
    : fText(std::move(text)), fLine(firstLine) {}

bool CommandReader::next(ParsedCommand& command) {
  command.words.clear();
  command.text.clear();
  size_t start = std::string::npos;
  const size_t size = fText.size();
  while (fPos < size) {
    const char c = fText[fPos];
    if (isBlank(c)) {
      ++fPos;
      continue;
    }
    if (c == '\n' || c == ';') {
      ++fPos;
      if (c == '\n')
        ++fLine;
      if (!command.words.empty())
        break;
      continue;
    }
    if (c == '/' && fPos + 1 < size && fText[fPos + 1] == '/') {
      while (fPos < size && fText[fPos] != '\n')
        ++fPos;
      continue;
    }
    if (start == std::string::npos) {
      start = fPos;
      command.line = fLine;
    }
    CommandWord word;
    if (c == '"') {
      const int stringLine = fLine;
      word.quoted = true;
      ++fPos;
      bool closed = false;
      while (fPos < size) {
        const char s = fText[fPos];
        if (s == '"') {
          ++fPos;
          closed = true;
          break;
        }
        if (s == '\n')
          break;
        if (s == '\\' && fPos + 1 < size) {
          const char e = fText[fPos + 1];
          if (e == '"' || e == '\\') {
            word.text += e;
            fPos += 2;
            continue;
          }
          if (e == 'n' || e == 't') {
            word.text += e == 'n' ? '\n' : '\t';
            fPos += 2;
            continue;
          }
        }
        word.text += s;
        ++fPos;
      }
      if (!closed) {
        fError = "Unterminated string";
        fErrorLine = stringLine;
        fPos = size;
        command.words.clear();
        return false;
      }
    } else {
      const size_t from = fPos;
      while (fPos < size && !endsWord(fText[fPos]))
        ++fPos;
      word.text = fText.substr(from, fPos - from);
    }
    command.words.push_back(std::move(word));
    command.text = fText.substr(start, fPos - start);
  }
  return !command.words.empty();
}

std::string quoteWord(const std::string& word) {
  bool plain =
      !word.empty() && !(word.size() >= 2 && word[0] == '/' && word[1] == '/') &&
      !(word.size() >= 2 && word[0] == '-' && std::isalpha(static_cast<unsigned char>(word[1])));
  for (char c : word) {
    if (endsWord(c) || c == '\\' || c == '\0')
      plain = false;
  }
  return plain ? word : quoteString(word);
}

std::string quoteString(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else {
      out += c;
    }
  }
  return out + '"';
}

}  // namespace hostdetail

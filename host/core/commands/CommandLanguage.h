#pragma once
// The words of the command language. Commands are separated by ';' or line
// ends; "//" where a word would start comments out the rest of the line;
// a double-quoted string is one word, with \" \\ \n and \t escapes (any other
// backslash stays as typed) and must close on its own line; every other run
// of characters up to white space, ';' or '"' is a word.

#include <string>
#include <vector>

namespace hostdetail {

struct CommandWord {
  std::string text;
  bool quoted = false;
};

struct ParsedCommand {
  std::vector<CommandWord> words;  // the command name first; never empty
  int line = 1;                    // line of the first word
  std::string text;                // the source text of the command, as typed
};

// Reads the commands of a text one at a time, so that a script runs up to a
// syntax error further down instead of being refused whole.
class CommandReader {
 public:
  explicit CommandReader(std::string text, int firstLine = 1);
  // The next command. False at the end of the text, or on a syntax error:
  // then error() says what is wrong and errorLine() where, and the reader
  // stays at the end.
  bool next(ParsedCommand& command);
  const std::string& error() const { return fError; }
  int errorLine() const { return fErrorLine; }
  // The line the reader has reached.
  int line() const { return fLine; }

 private:
  std::string fText;
  size_t fPos = 0;
  int fLine = 1;
  std::string fError;
  int fErrorLine = 0;
};

// An argument word as the language reads it back: bare when it is a plain
// word that cannot be mistaken for a comment, a flag or a separator, else
// quoted with escapes.
std::string quoteWord(const std::string& word);
// Any text as one quoted word that the reader gives back exactly: quotes,
// backslashes, line ends and tabs escaped (a raw line end would end it).
std::string quoteString(const std::string& text);

}  // namespace hostdetail

// libedit's readline interface, driven by the command engine's completion.

#include "LineEditor.h"

#include <editline/readline.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "commands/Complete.h"

namespace {

// readline asks for matches one by one through a plain function, so the
// candidates of the completion in progress live here.
std::vector<std::string> gCandidates;

char* nextCandidate(const char* /*text*/, int state) {
  static size_t next = 0;
  if (state == 0)
    next = 0;
  if (next >= gCandidates.size())
    return nullptr;
  // readline frees what it is given.
  return strdup(gCandidates[next++].c_str());
}

char** completeWord(const char* text, int /*start*/, int end) {
  const std::string line(rl_line_buffer ? rl_line_buffer : "");
  hostdetail::Completion completion = hostdetail::completeAt(line, size_t(end));
  // Never libedit's own file name completion: completeAt knows where paths go.
  rl_attempted_completion_over = 1;
  rl_completion_append_character = completion.wholeWord ? ' ' : '\0';
  if (completion.candidates.empty())
    return nullptr;
  gCandidates = std::move(completion.candidates);
  return rl_completion_matches(text, nextCandidate);
}

volatile std::sig_atomic_t gInterrupted = 0;

void onInterrupt(int) {
  gInterrupted = 1;
}

// Ctrl-C while a line is being typed drops the line, as in a shell; while a
// command runs it stops hostsh as before.
struct InterruptDropsLine {
  InterruptDropsLine() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no restart: the editor's read must return
    sigaction(SIGINT, &action, &fPrevious);
  }
  ~InterruptDropsLine() { sigaction(SIGINT, &fPrevious, nullptr); }
  struct sigaction fPrevious {};
};

bool isBlank(const std::string& line) {
  return line.find_first_not_of(" \t") == std::string::npos;
}

}  // namespace

LineEditor::LineEditor() {
  // Lets ~/.editrc hold settings for hostsh alone ("hostsh:bind -v").
  rl_readline_name = "hostsh";
  rl_attempted_completion_function = completeWord;
  // The editor must cut words where completeAt does. libedit reads the basic
  // set, GNU readline the other; both keep the pointer.
  static std::string breaks = hostdetail::kCompletionWordBreaks;
  rl_basic_word_break_characters = breaks.c_str();
  rl_completer_word_break_characters = &breaks[0];
  using_history();
  stifle_history(kHistoryLength);
  if (const char* home = std::getenv("HOME"); home && *home) {
    fHistoryPath = std::string(home) + "/.hostsh_history";
    read_history(fHistoryPath.c_str());
  }
}

bool LineEditor::readLine(const char* prompt, std::string& line) {
  char* text = nullptr;
  {
    InterruptDropsLine interrupts;
    while (true) {
      gInterrupted = 0;
      text = readline(prompt);
      if (text || !gInterrupted)
        break;
      std::cout << "^C" << std::endl;
    }
  }
  if (!text)
    return false;
  line = text;
  std::free(text);
  if (isBlank(line))
    return true;
  const HIST_ENTRY* last =
      history_length > 0 ? history_get(history_base + history_length - 1) : nullptr;
  if (last && last->line && line == last->line)
    return true;
  add_history(line.c_str());
  if (!fHistoryPath.empty() && write_history(fHistoryPath.c_str()) != 0 && !fWarned) {
    std::cerr << "Warning: cannot save the prompt's history in " << fHistoryPath << '\n';
    fWarned = true;
  }
  return true;
}

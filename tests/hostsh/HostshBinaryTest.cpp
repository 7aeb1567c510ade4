// The hostsh program as a user runs it: scripts, command strings, standard
// input and the prompt; its output, its error lines and its exit status.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "HostshTestUtil.h"

using hostshtest::binaryDir;
using hostshtest::scriptDir;

namespace {

std::string scriptPath(const char* name) {
  return scriptDir() + "/" + name;
}

std::string shellQuoted(const std::string& text) {
  std::string out = "'";
  for (char c : text)
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

struct ShellRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

class HostshBinaryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/hostshBinaryXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    fDir = pattern;
  }
  void TearDown() override { std::system(("rm -rf " + shellQuoted(fDir)).c_str()); }

  // Runs hostsh with the arguments (already quoted as needed) inside the
  // test's folder; input is fed to its standard input.
  ShellRun hostsh(const std::string& arguments, const std::string& input = "") {
    std::ofstream(fDir + "/stdin.txt") << input;
    return collect(shellQuoted(binaryDir() + "/bin/hostsh") + " " + arguments + " <stdin.txt");
  }

  // Runs a shell command in the test's folder, which is also its HOME, so
  // that the prompt's history file lands there.
  ShellRun collect(const std::string& command) {
    ShellRun run;
    const int status =
        std::system(("cd " + shellQuoted(fDir) + " && export HOME=" + shellQuoted(fDir) + " && " +
                     command + " >out.txt 2>err.txt")
                        .c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream out(fDir + "/out.txt"), err(fDir + "/err.txt");
    std::stringstream outText, errText;
    outText << out.rdbuf();
    errText << err.rdbuf();
    run.out = outText.str();
    run.err = errText.str();
    return run;
  }

  std::string fDir;
};

TEST_F(HostshBinaryTest, AFailedCommandStopsWithItsFileAndLine) {
  const std::string script = scriptPath("fails_at_line_5.hsa");
  const ShellRun run = hostsh(shellQuoted(script) + " " + shellQuoted(scriptPath("results.hsa")));
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err.rfind("Error: " + script + ":5: setAttr: ", 0), 0u) << run.err;
  EXPECT_NE(run.err.find("noSuchAttribute"), std::string::npos) << run.err;
  // Nothing after it ran: not the rest of the script, nor the next script.
  EXPECT_EQ(run.out, "first\n");
}

TEST_F(HostshBinaryTest, ScriptsRunInOrderPrintResultsAndSourceOthers) {
  std::ofstream(fDir + "/helper.hsa") << "print \"in helper\"\n";
  const ShellRun run = hostsh(shellQuoted(scriptPath("sources_helper.hsa")) + " " +
                              shellQuoted(scriptPath("undo_redo.hsa")) + " " +
                              shellQuoted(scriptPath("results.hsa")));
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "in helper\nafter source\na\nb\na\na\nb\nend\n"
            "box\n1 2.5 -3\ntwo words and more\nbox\n");
  // Undoing past the start of history warns and goes on.
  EXPECT_EQ(run.err, "Warning: " + scriptPath("undo_redo.hsa") +
                         ":9: undo: There are no more commands to undo.\n");
}

TEST_F(HostshBinaryTest, CommandStringsAndStandardInput) {
  ShellRun run = hostsh("-c 'print one; print two' -c \"print 'three'\"");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "one\ntwo\n'three'\n");

  run = hostsh("", "print piped\ncreateNode transform\n");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "piped\ntransform1\n");
  run = hostsh("-", "print x\nnope\n");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "Error: <stdin>:2: Unknown command 'nope'.\n");
}

TEST_F(HostshBinaryTest, BadUsageExitsWithTwo) {
  for (const char* arguments : {"--bogus", "-c"}) {
    const ShellRun run = hostsh(arguments);
    EXPECT_EQ(run.exitCode, 2) << arguments;
    EXPECT_NE(run.err.find("Usage: hostsh"), std::string::npos) << arguments;
    EXPECT_EQ(run.out, "") << arguments;
  }
  const ShellRun missing = hostsh("no_such_script.hsa");
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err, "Error: Cannot read file: no_such_script.hsa\n");
}

TEST_F(HostshBinaryTest, HelpListsOptionsAndCommands) {
  const ShellRun run = hostsh("--help");
  EXPECT_EQ(run.exitCode, 0);
  // Every registered command with its usage, the animation library's too.
  for (const char* piece : {"  loadPlugin PATH|NAME\n", "  undo\n", "  ikHandle"})
    EXPECT_NE(run.out.find(piece), std::string::npos) << piece;
  const ShellRun help = hostsh("-c 'help source; help nope'");
  EXPECT_EQ(help.exitCode, 1);
  EXPECT_EQ(help.out, "source PATH\n");
  EXPECT_EQ(help.err, "Error: help: Unknown command 'nope'.\n");
}

TEST_F(HostshBinaryTest, RelativePathsAreTakenFromTheFileBeingRead) {
  // Beside the reading file first, then the working folder.
  ASSERT_EQ(std::system(("mkdir -p " + shellQuoted(fDir + "/rig/sub")).c_str()), 0);
  std::ofstream(fDir + "/rig/main.hsa") << "source part.hsa\nsource sub/deep.hsa\n"
                                           "source cwd.hsa\nfile -open -force scene.hsa\nls\n";
  std::ofstream(fDir + "/rig/part.hsa") << "print beside\n";
  std::ofstream(fDir + "/rig/sub/deep.hsa") << "source part.hsa\n";
  std::ofstream(fDir + "/rig/sub/part.hsa") << "print deeper\n";
  std::ofstream(fDir + "/part.hsa") << "print wrong\n";
  std::ofstream(fDir + "/cwd.hsa") << "print working\n";
  ASSERT_EQ(hostsh("-c 'createNode transform -n kept; file -save rig/scene.hsa'").exitCode, 0);
  const ShellRun run = hostsh("rig/main.hsa");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "beside\ndeeper\nworking\nkept\n");
}

TEST_F(HostshBinaryTest, MistypedWordsGetASuggestion) {
  const struct {
    const char* commands;
    const char* error;
  } cases[] = {
      {"mvoe", "Error: Unknown command 'mvoe'. Did you mean 'move'?\n"},
      {"CREATENODE transform", "Error: Unknown command 'CREATENODE'. Did you mean 'createNode'?\n"},
      {"qwertyuiop", "Error: Unknown command 'qwertyuiop'.\n"},
      {"help mvoe", "Error: help: Unknown command 'mvoe'. Did you mean 'move'?\n"},
      {"createNode transform -nmae a",
       "Error: createNode: Invalid flag: -nmae. Did you mean '-name'? Usage: createNode TYPE"},
      {"createNode transform -zz", "Error: createNode: Invalid flag: -zz. Usage: createNode TYPE"},
      {"createNode trnasform",
       "Error: createNode: Unknown node type 'trnasform'. Did you mean "
       "'transform'?\n"},
      {"createNode veltra",
       "Error: createNode: Unknown node type 'veltra'. Load its plug-in first: loadPlugin "
       "veltra\n"},
      {"createNode transform; getAttr transform1.trnaslate",
       "Error: getAttr: Cannot find plug 'transform1.trnaslate': No such attribute. Did you mean "
       "'translate'?\n"},
      {"createNode transform; setAttr transform1.translate.tyy 1",
       "Error: setAttr: Cannot find plug 'transform1.translate.tyy': No such attribute. Did you "
       "mean 'ty'?\n"},
  };
  for (const auto& c : cases) {
    const ShellRun run = hostsh("-c " + shellQuoted(c.commands));
    EXPECT_EQ(run.exitCode, 1) << c.commands;
    EXPECT_EQ(run.err.rfind(c.error, 0), 0u) << c.commands << "\n" << run.err;
  }
  // Once the plug-in is loaded its node type is simply created.
  EXPECT_EQ(hostsh("-c 'loadPlugin veltra; createNode veltra'").exitCode, 0);
}

TEST_F(HostshBinaryTest, ThePromptReportsErrorsAndGoesOn) {
  if (std::system("command -v script >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "the script program (util-linux) is needed to give hostsh a terminal";
  std::ofstream(fDir + "/typed.txt") << "print hi\nnosuch\nprint \"after\"\n";
  const ShellRun run =
      collect("script -q -c " + shellQuoted(binaryDir() + "/bin/hostsh") + " /dev/null <typed.txt");
  EXPECT_EQ(run.exitCode, 0);
  // The terminal merges both streams; the session went on past the error.
  EXPECT_NE(run.out.find("hostsh> "), std::string::npos) << run.out;
  const size_t error = run.out.find("Error: Unknown command 'nosuch'.");
  ASSERT_NE(error, std::string::npos) << run.out;
  // The printed line, not the echo of the typed one.
  EXPECT_NE(run.out.find("\nafter", error), std::string::npos) << run.out;
  // A banner with the version and how to get help comes before the first
  // prompt (the terminal echoes the typed lines first).
  EXPECT_LT(run.out.find("hostsh 1."), run.out.find("hostsh> ")) << run.out;
  EXPECT_NE(run.out.find("Type 'help'"), std::string::npos) << run.out;

  // exit and quit leave at once; what follows them is not run.
  for (const char* word : {"exit", "quit ;"}) {
    std::ofstream(fDir + "/typed.txt") << "print before\n" << word << "\nprint later\n";
    const ShellRun left = collect("script -q -c " + shellQuoted(binaryDir() + "/bin/hostsh") +
                                  " /dev/null <typed.txt");
    EXPECT_EQ(left.exitCode, 0) << word;
    // The terminal echoes what was typed as it arrives, before or after the
    // prompt, and the line editor echoes what it reads: "before" comes as
    // typed and once printed, "later" at most as typed.
    const auto count = [&](const std::string& text) {
      size_t n = 0;
      for (size_t at = left.out.find(text); at != std::string::npos;
           at = left.out.find(text, at + 1))
        ++n;
      return n;
    };
    EXPECT_GE(count("before"), 2u) << left.out;
    EXPECT_LE(count("later"), 1u) << left.out;
  }
}

}  // namespace

// A scene of a million nodes on a machine (here: a process limit) that
// cannot hold it: a clear error and exit status 1, never a crash. The
// sanitizers reserve more address space than the limit allows, so the
// sanitized build skips this.
TEST_F(HostshBinaryTest, ASceneTooLargeForMemoryIsRefusedWithAnError) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "address space limits do not mix with AddressSanitizer";
#endif
  {
    std::ofstream scene(fDir + "/million.hsa");
    for (int i = 0; i < 1000000; ++i)
      scene << "createNode transform\n";
  }
  const ShellRun run = collect("ulimit -v 700000 && " + shellQuoted(binaryDir() + "/bin/hostsh") +
                               " -c 'joint -n kept; file -open \"million.hsa\"'");
  EXPECT_EQ(run.exitCode, 1) << run.err;
  EXPECT_NE(run.err.find("Out of memory"), std::string::npos) << run.err;
}

// The command language: words, strings, separators, comments, and the errors
// of text that cannot be read, seen through the commands that receive it.

#include "HostshTestUtil.h"
#include "commands/CommandLanguage.h"

using namespace hostshtest;

namespace {

class LanguageTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
  const std::vector<std::string>& words() const { return probeLog().words; }
  const std::vector<bool>& quoted() const { return probeLog().quoted; }
};

TEST_F(LanguageTest, WordsStringsAndEscapesReachTheCommand) {
  ASSERT_TRUE(
      succeeded(run("probeArgs plain  \t -flag 3.5 \"two words\" \"a \\\"q\\\" \\\\ b\" "
                    "\"tab\\there\" \"\" path/to//x \"\\d\" -n\"name\"x")));
  // A quote ends a word, and a word ends at a quote.
  const std::vector<std::string> expected = {"plain",        "-flag",     "3.5",  "two words",
                                             "a \"q\" \\ b", "tab\there", "",     "path/to//x",
                                             "\\d",          "-n",        "name", "x"};
  EXPECT_EQ(words(), expected);
  const std::vector<bool> expectedQuoted = {false, false, false, true,  true, true,
                                            true,  false, true,  false, true, false};
  EXPECT_EQ(quoted(), expectedQuoted);
}

TEST_F(LanguageTest, SemicolonsNewlinesAndCommentsSeparateCommands) {
  ASSERT_TRUE(
      succeeded(run("probeCounter;probeCounter -by 2 ; ;\n"
                    "// probeCounter -by 100\n"
                    "probeCounter -by 3 // probeCounter -by 1000\n"
                    "\n;;probeArgs x;probeArgs \"; // not a comment\" a")));
  EXPECT_EQ(probeLog().counter, 6);
  EXPECT_EQ(words(), (std::vector<std::string>{"; // not a comment", "a"}));
}

TEST_F(LanguageTest, TextWithoutCommandsSucceeds) {
  Capture capture;
  EXPECT_TRUE(succeeded(run("")));
  EXPECT_TRUE(succeeded(run("  ;;; \n\n // only a comment")));
  EXPECT_EQ(capture.err(), "");
}

TEST_F(LanguageTest, UnterminatedStringIsAnErrorWithItsLine) {
  // The commands before the bad string run; none after it.
  hostdetail::RunOptions options;
  options.source = "script.hsa";
  Capture capture;
  HStatus status = hostdetail::runCommands(
      "probeCounter\nprobeCounter\nprobeArgs \"open\nprobeCounter -by 10", options);
  EXPECT_FALSE(succeeded(status));
  EXPECT_EQ(probeLog().counter, 2);
  EXPECT_TRUE(capture.errHas("Error: script.hsa:3: Unterminated string")) << capture.err();
  EXPECT_NE(std::string(status.errorString().asChar()).find("script.hsa:3"), std::string::npos);

  capture.clear();
  EXPECT_FALSE(succeeded(run("probeArgs \"never closed \\\"")));
  EXPECT_TRUE(capture.errHas("Error: Unterminated string")) << capture.err();
}

TEST_F(LanguageTest, UnknownCommandsAreNamed) {
  Capture capture;
  HStatus status = run("probeCounter; noSuchCommand -x 1; probeCounter");
  EXPECT_EQ(status.statusCode(), HStatus::kNotFound);
  EXPECT_EQ(capture.err(), "Error: Unknown command 'noSuchCommand'.\n");
  EXPECT_EQ(probeLog().counter, 1);  // stopped at the unknown command
}

TEST_F(LanguageTest, QuotedWordsReadBackAsTheSameArgument) {
  // Plain, empty, flag-like, comment-like, and every character that escapes.
  for (const std::string& word :
       {std::string("plain"), std::string(""), std::string("-flagLike"), std::string("-5"),
        std::string("//comment"), std::string("two words;q\"uote\\back\nline\ttab")}) {
    ASSERT_TRUE(succeeded(run("probeArgs " + hostdetail::quoteWord(word)))) << word;
    ASSERT_EQ(words().size(), 1u) << word;
    EXPECT_EQ(words()[0], word);
    // Quoted or not, it must not read back as a flag.
    if (!quoted()[0]) {
      EXPECT_FALSE(word.size() > 1 && word[0] == '-' && std::isalpha(word[1])) << word;
    }
  }
}

TEST_F(LanguageTest, ReaderReportsLinesOfCommands) {
  hostdetail::CommandReader reader("a 1\n\n  b \"x\" ; c\n// d\ne", 10);
  hostdetail::ParsedCommand command;
  std::vector<std::pair<std::string, int>> seen;
  while (reader.next(command))
    seen.emplace_back(command.text, command.line);
  EXPECT_TRUE(reader.error().empty());
  const std::vector<std::pair<std::string, int>> expected = {
      {"a 1", 10}, {"b \"x\"", 12}, {"c", 12}, {"e", 14}};
  EXPECT_EQ(seen, expected);
}

}  // namespace

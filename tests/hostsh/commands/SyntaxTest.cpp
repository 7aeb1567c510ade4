// Arguments against a command's syntax: flags by short and long name, types,
// counts, multi-use flags, and the errors of invocations that do not fit.

#include "HArgParser.h"
#include "HGlobal.h"
#include "HostshTestUtil.h"

using namespace hostshtest;

namespace {

class SyntaxTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
  // The error line of an invocation that must fail.
  std::string errorOf(const std::string& command) {
    Capture capture;
    HStatus status = run(command);
    EXPECT_FALSE(succeeded(status)) << command;
    return capture.err();
  }
};

TEST_F(SyntaxTest, FlagsByEitherNameAnywhereAmongTheArguments) {
  const std::vector<std::string> expected = {
      "-name:joint1", "-count:-3", "-point:1 -2.5 3e2", "-query:", "arg:0.5", "arg:a", "arg:b"};
  EXPECT_EQ(results("probeSyntax -n joint1 -count -3 -p 1 -2.5 3e2 -q 0.5 a b"), expected);
  EXPECT_EQ(results("probeSyntax 0.5 -query a -name joint1 -point 1 -2.5 3e2 -c -3 b"), expected);
}

TEST_F(SyntaxTest, FlagArgumentsAreTakenWhateverTheyLookLike) {
  EXPECT_EQ(results("probeSyntax -n -q 1"), (std::vector<std::string>{"-name:-q", "arg:1"}));
  // A quoted word is never a flag; negative numbers are not flags either.
  EXPECT_EQ(results("probeSyntax -5 \"-q\""), (std::vector<std::string>{"arg:-5", "arg:-q"}));
}

TEST_F(SyntaxTest, MultiUseFlagsKeepEveryUseInOrder) {
  EXPECT_EQ(results("probeSyntax -m one 1 -multi two -m \"three 3\""),
            (std::vector<std::string>{"-multi:one", "-multi:two", "-multi:three 3", "arg:1"}));
  EXPECT_NE(errorOf("probeSyntax -n a -name b 1").find("Flag -name can be given only once"),
            std::string::npos);
}

TEST_F(SyntaxTest, TypesAreChecked) {
  const std::pair<const char*, const char*> cases[] = {
      {"probeSyntax -c 1.5 1", "Flag -c: \"1.5\" is not an integer"},
      {"probeSyntax -u -1 1", "Flag -u: \"-1\" is not a non-negative integer"},
      {"probeSyntax -b maybe 1", "Flag -b: \"maybe\" is not a boolean"},
      {"probeSyntax -p 1 2 x 1", "Flag -p: \"x\" is not a number"},
      {"probeSyntax 1e999", "Argument \"1e999\" is not a number"},
      {"probeSyntax -NaN", "Argument \"-NaN\" is not a number"},
  };
  for (const auto& c : cases) {
    const std::string err = errorOf(c.first);
    EXPECT_NE(err.find(std::string("Error: probeSyntax: ") + c.second), std::string::npos)
        << c.first << "\n"
        << err;
  }
  EXPECT_EQ(results("probeSyntax -b off -u 0 -d 2.5 1"),
            (std::vector<std::string>{"-unsigned:0", "-distance:2.5", "-bool:off", "arg:1"}));
  EXPECT_TRUE(succeeded(run("probeSyntax -b TRUE 1; probeSyntax -b 1 1")));
}

TEST_F(SyntaxTest, CountsAreCheckedAndTheUsageShown) {
  std::string err = errorOf("probeSyntax");
  EXPECT_NE(
      err.find("Error: probeSyntax: Missing 1 argument. Usage: probeSyntax [-n|-name string]"),
      std::string::npos)
      << err;
  EXPECT_NE(errorOf("probeSyntax 1 a b c extra").find("Too many arguments: \"extra\""),
            std::string::npos);
  EXPECT_NE(errorOf("probeSyntax 1 -p 1 2").find("Flag -p needs 3 arguments"), std::string::npos);
  EXPECT_NE(errorOf("probeSyntax 1 -b2").find("Invalid flag: -b2"), std::string::npos);
  // A command without arguments in its syntax refuses any.
  EXPECT_NE(errorOf("undo now").find("Error: undo: Too many arguments: \"now\". Usage: undo"),
            std::string::npos);
}

TEST_F(SyntaxTest, HelpListsEveryFlagOfAPluginCommandWithItsTypes) {
  HStringArray lines;
  ASSERT_TRUE(succeeded(HGlobal::executeCommand("help probeSyntax", lines)));
  std::vector<std::string> text;
  for (const HString& line : lines)
    text.push_back(line.asStdString());
  const std::vector<std::string> expected = {"  -n -name string",
                                             "  -c -count int",
                                             "  -u -unsigned int",
                                             "  -d -distance distance",
                                             "  -b -bool on|off",
                                             "  -p -point number number number",
                                             "  -m -multi string (may be repeated)",
                                             "  -q -query (no value)"};
  ASSERT_EQ(text.size(), expected.size() + 1);
  EXPECT_EQ(text[0].rfind("probeSyntax [-n|-name string]", 0), 0u) << text[0];
  EXPECT_EQ(std::vector<std::string>(text.begin() + 1, text.end()), expected);
}

TEST_F(SyntaxTest, AFailedParseNeverRunsTheCommand) {
  errorOf("probeCounter -by x");
  errorOf("probeCounter extra");
  EXPECT_TRUE(probeLog().calls.empty());
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
}

TEST_F(SyntaxTest, ParserReadsTypedValuesAndRefusesWhatItCannot) {
  HSyntax syntax;
  ASSERT_TRUE(succeeded(syntax.addFlag("-w", "-width", HSyntax::kDouble)));
  ASSERT_TRUE(succeeded(syntax.addFlag("-on", "-enabled", HSyntax::kBoolean)));
  ASSERT_TRUE(succeeded(syntax.addFlag("-i", "-index", HSyntax::kUnsigned)));
  EXPECT_FALSE(succeeded(syntax.addFlag("-w", "-wide")));  // short name taken
  EXPECT_FALSE(succeeded(syntax.addFlag("x", "-xx")));     // no dash
  EXPECT_FALSE(succeeded(syntax.addFlag("-1", "-one")));   // dash and digit
  EXPECT_FALSE(succeeded(syntax.makeFlagMultiUse("-nothing")));
  EXPECT_FALSE(succeeded(syntax.setMinMaxArgs(3, 2)));
  ASSERT_TRUE(succeeded(syntax.addArg(HSyntax::kLong)));

  HArgList args;
  args.addArg("-width").addArg("2.5").addArg("-on").addArg("yes").addArg("-i").addArg("7");
  args.addArg("42");
  HStatus status;
  // The parser keeps its own copy of the syntax.
  HArgParser parser(HSyntax(syntax), args, &status);
  ASSERT_TRUE(succeeded(status)) << parser.errorMessage();
  double width = 0;
  bool enabled = false;
  unsigned index = 0;
  int number = 0;
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-index", 0, index)));
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-w", 0, width)));
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-enabled", 0, enabled)));
  EXPECT_TRUE(succeeded(parser.getCommandArgument(0, number)));
  EXPECT_EQ(width, 2.5);
  EXPECT_TRUE(enabled);
  EXPECT_EQ(index, 7u);
  EXPECT_EQ(number, 42);
  // Reads that cannot succeed fail and leave the value alone.
  EXPECT_FALSE(succeeded(parser.getFlagArgument("-width", 1, width)));
  EXPECT_FALSE(succeeded(parser.getCommandArgument(1, number)));
  EXPECT_FALSE(succeeded(parser.getFlagArgument("-nothing", 0, width)));
  EXPECT_EQ(width, 2.5);
  EXPECT_EQ(number, 42);
  HStatus flagStatus;
  EXPECT_FALSE(parser.isFlagSet("-nothing", &flagStatus));
  EXPECT_FALSE(succeeded(flagStatus));
  HStatus read;
  EXPECT_EQ(args.asInt(0, &read), 0);
  EXPECT_FALSE(succeeded(read));
  args.asString(99, &read);
  EXPECT_FALSE(succeeded(read));
}

}  // namespace

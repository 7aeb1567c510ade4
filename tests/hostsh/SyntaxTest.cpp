// Arguments against a command's syntax: flags by short and long name, types,
// counts, multi-use flags, and the errors of invocations that do not fit.

#include "HArgParser.h"
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
  struct Case {
    const char* command;
    const char* message;
  };
  const Case cases[] = {
      {"probeSyntax -c 1.5 1", "Flag -c: \"1.5\" is not an integer"},
      {"probeSyntax -u -1 1", "Flag -u: \"-1\" is not a non-negative integer"},
      {"probeSyntax -d far 1", "Flag -d: \"far\" is not a number"},
      {"probeSyntax -b maybe 1", "Flag -b: \"maybe\" is not a boolean"},
      {"probeSyntax -p 1 2 x 1", "Flag -p: \"x\" is not a number"},
      {"probeSyntax abc", "Argument \"abc\" is not a number"},
      {"probeSyntax 1e999", "Argument \"1e999\" is not a number"},
      {"probeSyntax -inf", "Argument \"-inf\" is not a number"},
      {"probeSyntax -NaN", "Argument \"-NaN\" is not a number"},
  };
  for (const Case& c : cases) {
    const std::string err = errorOf(c.command);
    EXPECT_NE(err.find(std::string("Error: probeSyntax: ") + c.message), std::string::npos)
        << c.command << "\n"
        << err;
  }
  for (const char* good : {"probeSyntax -b on -b2 1", "probeSyntax -b off 1", "probeSyntax -b 1 1",
                           "probeSyntax -b TRUE -u 0 1"}) {
    Capture capture;
    HStatus status = run(good);
    if (std::string(good).find("-b2") != std::string::npos) {
      EXPECT_FALSE(succeeded(status));
      EXPECT_TRUE(capture.errHas("Invalid flag: -b2"));
    } else {
      EXPECT_TRUE(succeeded(status)) << good << capture.err();
    }
  }
}

TEST_F(SyntaxTest, CountsAreCheckedAndTheUsageShown) {
  std::string err = errorOf("probeSyntax");
  EXPECT_NE(
      err.find("Error: probeSyntax: Missing 1 argument. Usage: probeSyntax [-n|-name string]"),
      std::string::npos)
      << err;
  err = errorOf("probeSyntax 1 a b c extra");
  EXPECT_NE(err.find("Too many arguments: \"extra\""), std::string::npos) << err;
  err = errorOf("probeSyntax 1 -p 1 2");
  EXPECT_NE(err.find("Flag -p needs 3 arguments"), std::string::npos) << err;
  err = errorOf("probeSyntax 1 -bogus");
  EXPECT_NE(err.find("Invalid flag: -bogus"), std::string::npos) << err;
  // A command without arguments in its syntax refuses any.
  err = errorOf("undo now");
  EXPECT_NE(err.find("Error: undo: Too many arguments: \"now\". Usage: undo"), std::string::npos)
      << err;
}

TEST_F(SyntaxTest, AFailedParseNeverRunsTheCommand) {
  errorOf("probeCounter -by x");
  errorOf("probeCounter extra");
  EXPECT_EQ(probeLog().counter, 0);
  EXPECT_TRUE(probeLog().calls.empty());
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
}

TEST_F(SyntaxTest, ParserAccessors) {
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
  HArgParser parser(syntax, args, &status);
  ASSERT_TRUE(succeeded(status)) << parser.errorMessage();
  EXPECT_EQ(parser.errorMessage(), "");
  double width = 0;
  bool enabled = false;
  unsigned index = 0;
  int number = 0;
  HString text;
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-w", 0, width)));
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-enabled", 0, enabled)));
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-index", 0, index)));
  EXPECT_TRUE(succeeded(parser.getCommandArgument(0, number)));
  EXPECT_TRUE(succeeded(parser.getFlagArgument("-width", 0, text)));
  EXPECT_EQ(width, 2.5);
  EXPECT_TRUE(enabled);
  EXPECT_EQ(index, 7u);
  EXPECT_EQ(number, 42);
  EXPECT_EQ(text, "2.5");
  // Reads that cannot succeed fail and leave the value alone.
  EXPECT_FALSE(succeeded(parser.getFlagArgument("-width", 1, width)));
  EXPECT_FALSE(succeeded(parser.getCommandArgument(1, number)));
  EXPECT_FALSE(succeeded(parser.getFlagArgument("-nothing", 0, width)));
  EXPECT_EQ(width, 2.5);
  EXPECT_EQ(number, 42);
  HStatus flagStatus;
  EXPECT_FALSE(parser.isFlagSet("-nothing", &flagStatus));
  EXPECT_FALSE(succeeded(flagStatus));

  // The parser keeps its own copy of the syntax.
  HArgParser fromTemporary(HSyntax(syntax), args, &status);
  EXPECT_TRUE(fromTemporary.isFlagSet("-w"));

  EXPECT_EQ(args.flagIndex("-on", "-enabled"), 2u);
  EXPECT_EQ(args.flagIndex("-zz"), HArgList::kInvalidArgIndex);
  EXPECT_EQ(args.asInt(6), 42);
  EXPECT_EQ(args.asDouble(1), 2.5);
  EXPECT_TRUE(args.asBool(3));
  HStatus read;
  EXPECT_EQ(args.asInt(0, &read), 0);
  EXPECT_FALSE(succeeded(read));
  args.asString(99, &read);
  EXPECT_FALSE(succeeded(read));
}

}  // namespace

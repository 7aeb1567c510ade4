#include <gtest/gtest.h>

#include <sstream>

#include "ErrorCapture.h"
#include "HIntArray.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"

namespace {

TEST(HStatus, PerrorWritesToTheErrorStreamUntilItIsReset) {
  {
    ErrorCapture errors;
    HStatus(HStatus::kFailure).perror("veltra::doSolve() - Could not retrieve twist.");
    HStatus(HStatus::kNotFound, "no such node").perror(HString("lookup"));
    EXPECT_EQ(errors.text(),
              "veltra::doSolve() - Could not retrieve twist.: (kFailure): Unexpected internal "
              "failure\nlookup: no such node\n");
  }
  EXPECT_EQ(&HStatus::errorStream(), &std::cerr);
}

TEST(HStatus, CodesTruthAndComparisons) {
  const HStatus ok;
  const HStatus bad(HStatus::kInvalidParameter);
  EXPECT_TRUE(bool(ok) && !ok.error() && ok == HStatus::kSuccess);
  EXPECT_TRUE(!bool(bad) && bad.error() && bad != HStatus::kSuccess);
  EXPECT_EQ(ok.errorString(), "(kSuccess): No error");
}

TEST(HString, SplitDropsEmptyPieces) {
  HStringArray pieces;
  EXPECT_EQ(HString("joint1|joint2||effector1|").split('|', pieces), HStatus::kSuccess);
  EXPECT_EQ(pieces, HStringArray({"joint1", "joint2", "effector1"}));
  HString("").split('|', pieces);
  EXPECT_EQ(pieces.length(), 0u);
  HString("plain").split('|', pieces);
  EXPECT_EQ(pieces, HStringArray({"plain"}));
}

TEST(HString, NumbersParseOnlyWholeStrings) {
  EXPECT_TRUE(HString(" -42 ").isInt());
  EXPECT_EQ(HString(" -42 ").asInt(), -42);
  EXPECT_FALSE(HString("42x").isInt());
  EXPECT_FALSE(HString("99999999999").isInt());
  EXPECT_EQ(HString("4.5").asInt(), 0);
  EXPECT_TRUE(HString("1.5e3").isDouble());
  EXPECT_DOUBLE_EQ(HString("1.5e3").asDouble(), 1500.0);
  EXPECT_TRUE(HString("-.25").isDouble());
  for (const char* bad : {"", "nan", "inf", "0x10", "1e", "1.2.3", "abc"}) {
    EXPECT_FALSE(HString(bad).isDouble()) << bad;
    EXPECT_EQ(HString(bad).asDouble(), 0.0) << bad;
  }
}

TEST(HString, ConcatenationComparisonAndHash) {
  HString s = HString("joint") + "1";
  s += '_';
  s += 7;
  s += 0.1;
  EXPECT_EQ(s, "joint1_70.1");
  EXPECT_TRUE(HString("a") < HString("b"));
  EXPECT_TRUE(HString("a") != "b");
  std::ostringstream os;
  os << HString("shown");
  EXPECT_EQ(os.str(), "shown");
  HString big;
  big += 1.0 / 3.0;
  EXPECT_EQ(big.asDouble(), 1.0 / 3.0);  // numbers append without losing bits
}

TEST(HArray, InsertRemoveSetAndBadIndices) {
  HIntArray a;
  EXPECT_EQ(a.append(1), HStatus::kSuccess);
  EXPECT_EQ(a.append(3), HStatus::kSuccess);
  EXPECT_EQ(a.insert(2, 1), HStatus::kSuccess);
  EXPECT_EQ(a.insert(4, 3), HStatus::kSuccess);  // index == length appends
  EXPECT_EQ(a.insert(9, 9), HStatus::kInvalidParameter);
  EXPECT_EQ(a, HIntArray({1, 2, 3, 4}));
  EXPECT_EQ(a.remove(0), HStatus::kSuccess);
  EXPECT_EQ(a.remove(3), HStatus::kInvalidParameter);
  EXPECT_EQ(a.set(7, 2), HStatus::kSuccess);
  EXPECT_EQ(a.set(7, 3), HStatus::kInvalidParameter);
  EXPECT_EQ(a, HIntArray({2, 3, 7}));
  // Out-of-range access touches nothing of the array.
  a[10] = 5;
  const HIntArray& ca = a;
  EXPECT_EQ(ca[10], 0);
  EXPECT_EQ(a, HIntArray({2, 3, 7}));
  HIntArray copy({9, 9, 9, 9});
  EXPECT_EQ(copy.copy(a), HStatus::kSuccess);
  EXPECT_EQ(copy, a);
}

}  // namespace

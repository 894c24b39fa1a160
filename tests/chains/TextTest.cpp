#include <quivo/chains/Text.h>

#include <gtest/gtest.h>

namespace Quivo::Testing {

TEST(Text, NumbersForPeopleHaveTheDigitsThatCount) {
    struct {
        double value;
        int numDigits;
        char const* text;
        char const* reason;
    } const cases[] = {{0.25264, 4, "0.2526", "digits that count, not decimals"},
                       {300000.0, 12, "300000", "3e+05 is shorter, and not how people write it"},
                       {123456789.0, 4, "123500000", "zeros stand for what is left out"},
                       {-0.0002, 4, "-0.0002", "small, but not too small to be read"},
                       {0.000012, 4, "1.2e-05", "too small"},
                       {1.5e15, 4, "1.5e+15", "too large"},
                       {0.0, 4, "0", "no digit counts"},
                       {2.0 / 3.0, 17, "0.6666666666666666", "the shortest text for it"}};
    for (auto const& each : cases) {
        EXPECT_EQ(toRoundText(each.value, each.numDigits), each.text) << each.reason;
    }
}

}  // namespace Quivo::Testing

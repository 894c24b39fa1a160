#include <quivo/chains/Recipe.h>

#include <gtest/gtest.h>

namespace Quivo::Testing {

TEST(Recipe, IsReadAndHasOneText) {
    struct {
        char const* text;
        char const* canonical;
        char const* reason;
    } const cases[] = {
        {"slide.svs|box 4096 , 2048,8192,8192|at 0.5um|cache 0256",
         "slide.svs | box 4096,2048,8192,8192 | at 500nm | cache 256", "blanks and zeros"},
        {" my slide.svs | slice 3 ", "\"my slide.svs\" | slice 3", "a blank within a name"},
        {"\"a|b%22%25%0A.tif\"#7", nullptr, "nothing follows a quotation mark"},
        {"\"a|b%22%25%0a.tif\"", "\"a|b%22%25%0A.tif\"", "any byte of a path"},
        {"%C3%A9%ff\xc3\xa9.tif", "\"\xc3\xa9%FF\xc3\xa9.tif\"",
         "letters stay, other bytes do not"},
        {"a.tif#7#t=3 | channels DAPI,1,\"1\",\"a,b\"",
         "a.tif#7#t=3 | channels DAPI,1,\"1\",\"a,b\"", "a name that is a number is quoted"},
        {"bank(DAPI=a.tif,\"a=b\" = ( b.tif | range -0,4095 ,round ))",
         "bank(DAPI=a.tif, \"a=b\"=(b.tif | range 0,4095,round))", "a chain in a bank"},
        {"stack((a.tif), bank(x=bank.tif), (b.tif | slice 2)) | display",
         "stack(a.tif, bank(x=bank.tif), (b.tif | slice 2)) | display", "needless parentheses go"},
        {"bank | scale 1e-1", "bank | scale 0.1", "a file may be called so"},
        {"a | at 20x", "a | at 500nm", "10 micrometres by the magnification"},
        {"a | at 0.2526um | at 2.526e-1\xc2\xb5m", "a | at 252.6nm | at 252.6nm", "rounded once"},
        {"a | box -9223372036854775808,0,1,1,-2,3 | tile 512,1",
         "a | box -9223372036854775808,0,1,1,-2,3 | tile 512,1", "positions may lie outside"},
        {"a | range 1e300,-1.5", "a | range 1e+300,-1.5", "turned over"},
    };
    for (auto const& [text, canonical, reason] : cases) {
        SCOPED_TRACE(reason);
        if (!canonical) {
            EXPECT_THROW((void)Recipe::parse(text), RecipeError);
            continue;
        }
        auto const recipe = Recipe::parse(text);
        EXPECT_EQ(recipe.print(), canonical);
        EXPECT_TRUE(Recipe::parse(recipe.print()) == recipe);
    }
}

TEST(Recipe, SaysWhereATextIsNoneAndWhatWasExpected) {
    std::string deep, deeper(40, '(');
    for (int i = 0; i < 40; ++i) deep += "stack(";
    struct {
        std::string text;
        long long column;
        char const* expected;
    } const cases[] = {
        {"", 1, "expected a source"},
        {"a.tif |", 8, "expected box, slice"},
        {"a.tif | boxes 1,2,3,4", 9, "not \"boxes\""},
        {"a.tif | box 1,2,3", 18, "expected , as in X,Y,WIDTH,HEIGHT, not the end"},
        {"a.tif | box 1,2,0,4", 17, "from 1 on"},
        {"a.tif | box 9223372036854775807,0,2,1", 13, "64 bits"},
        {"\xc3\xa9\xc3\xa9.tif | slice x", 16, "expected the number of a slice"},
        {"a.tif | slice -1", 15, "from 0 on, not \"-1\""},
        {"a | channels 99999999999999999999", 14, "64 bits"},
        {"a | channels ", 14, "not the end"},
        {"a | scale 1", 11, "above 0 and below 1"},
        {"a | at 0um", 8, "as in 0.5um"},
        {"a | at 1e999nm", 8, "as in 0.5um"},
        {"a | at 5", 8, "as in 0.5um"},
        {"a | range 1,1", 13, "different"},
        {"a | range 0,nan", 13, "a number"},
        {"a | range 0,1,down", 15, "expected round, not \"down\""},
        {"a | display 3", 13, "expected | or the end"},
        {"a (1).tif", 3, "without quotation marks"},
        {"\"a.tif", 1, "second quotation mark"},
        {"50%.tif", 3, "%25"},
        {"a%00", 2, "%25"},
        {"a\nb", 2, "%0A"},
        {"bank(a.tif)", 11, "expected = behind"},
        {"stack(a.tif | slice 2)", 13, "in parentheses"},
        {"stack(a.tif", 12, "expected , or )"},
        {"a.tif | slice 2)", 16, "expected | or the end"},
        {deep, 193, "at most 32 deep"},
        {"stack(" + deeper, 8, "expected a source"},
    };
    for (auto const& [text, column, expected] : cases) {
        SCOPED_TRACE(text);
        try {
            (void)Recipe::parse(text);
            ADD_FAILURE() << "was taken";
        } catch (RecipeError const& error) {
            std::string const what = error.what();
            EXPECT_EQ(error.getColumn(), column) << what;
            EXPECT_NE(what.find(expected), std::string::npos) << what;
            EXPECT_TRUE(what.starts_with("column " + std::to_string(column) + ": expected "))
                << what;
            EXPECT_EQ(what.find('\n'), std::string::npos);
        }
    }
}

}  // namespace Quivo::Testing

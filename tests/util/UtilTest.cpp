#include <quivo/util/Color.h>
#include <quivo/util/Files.h>
#include <quivo/util/Paths.h>
#include <quivo/util/Strings.h>

#include "support/Voxels.h"

#include <cstdlib>
#include <filesystem>
#include <locale>

namespace Quivo::Testing {

using Tokens = std::vector<std::string>;

TEST(Strings, SplitTextsAndUrls) {
    for (unsigned i = 0, draw = 7; i < 3000; ++i) {
        std::string const delimiter = i % 2 ? "," : "ab", escape = i % 3 ? "\\" : "<>";
        std::string const pieces[] = {"", "a", ">", escape + delimiter};
        Tokens kept;
        std::string text;
        for (unsigned n = 0; n <= i % 5; ++n, text += n <= i % 5 ? delimiter : "") {
            std::string const& piece = pieces[(draw = draw * 1664525 + 1013904223) >> 30];
            text += piece;
            if (i % 7 > 0 || !piece.empty() || n == i % 5) kept.push_back(piece);
        }
        ASSERT_EQ(splitString(text, delimiter, i % 7 == 0, escape), kept) << text;
    }
    EXPECT_EQ(splitString("<><>,a", "<>", false, "<>"), Tokens({"", "", ",a"}));
    EXPECT_EQ(splitString(std::string(1 << 20, ','), ",", true, "\\"), Tokens{""}) << "at once";
    std::pair<std::string, std::string> const cases[] = {
        {"f.e?a=1&b=&=c&d&e=f=g&h==i&a=3&&", "a>1 b> h>i f.e"},  // the first a
        {"x?a=1\\&b=2&c=%20\\&d", "c>%20\\&d x"},  // a has three parts, nothing is decoded
        {"a=1&b=2", "a>1 b>2 a=1&b=2"}};           // no query: kept
    for (auto [url, expected] : cases) {
        std::string found;
        for (auto const& [key, value] : splitUrlParams(url, true)) found += key + ">" + value + " ";
        EXPECT_EQ(found + url, expected);
    }
}

TEST(Strings, ChangeAndCompareByteByByteInEveryLocale) {
    EXPECT_EQ(unescapeString("a\\,b\\\\c\\", "\\") + unescapeString("--x", "--"), "a,bc-x");
    EXPECT_EQ(urlEncode("azAZ09-._~ /\xC3+\x7F"), "azAZ09-._~%20%2f%c3%2b%7f");
    EXPECT_TRUE(startsWith("ab", "ab") && !startsWith("ab", "abc") && !contains({"ab"}, "a"));
    EXPECT_TRUE(endsWith("", "") && !endsWith("ab", "cab") && endsWith("ab", Tokens{"x", "b"}));
    EXPECT_TRUE(endsWith("a.tif", {".tif"}) && endsWith("a.tif", {".png", ".tif"}));
    EXPECT_FALSE(endsWith("a.tif", {".png"}) || endsWith("a.tif", {".png", ".gif"}));
    EXPECT_FALSE(endsWith("a.tif", {}) || endsWith("a.tif", Tokens{}));

    struct Grouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const before = std::locale::global(std::locale(std::locale(), new Grouping));
    std::string numbers = str(-1234567) + " " + str(1LL << 62);
    for (double value : {0.5, 123456.0, 0.00001, 1234567.0, -0.0}) numbers += " " + str(value);
    std::locale::global(before);
    EXPECT_EQ(str(std::int64_t{-5}) + str(std::size_t{6}) + str(5U) + str(~0ULL) + str('\1'),
              "-565184467440737095516151");
    EXPECT_EQ(numbers, "-1234567 4611686018427387904 0.5 123456 1e-05 1.23457e+06 -0");
}

TEST(Paths, ComeApartAtEitherSeparator) {
    // Path: directory, file, image, group, and whether it lies in the network.
    std::pair<std::string, std::string> const cases[] = {
        {"/da/case/img.2.tif", "/da/case img.2.tif img.2 case 0"},
        {"D:\\da/ca?\"*<>|se\\a.tif", "D:/da/ca?\"*<>|se a.tif a case 0"},
        {"/x/a:b.tif", "/x a:b.tif ab x 1"},  // a colon from position 2 on
        {"/data//", "/data/    0"},
        {"s.lab/share/f", "s.lab/share f f share 1"}};
    for (auto const& [path, expected] : cases) {
        auto const [directory, file] = splitFilePath(convertToUnixPath(path));
        EXPECT_EQ(directory + " " + file + " " + getImageIdFromPath(path) + " " +
                      getGroupIdFromImagePath(path) + " " + str(isNetworkPath(path)),
                  expected);
    }
}

TEST(Files, ComeAndGoAndSayWhyNot) {
    std::string base = std::filesystem::temp_directory_path() / "quivo-XXXXXX";
    std::string const dir = ::mkdtemp(base.data()) + std::string("/\xC3\xA4"), file = dir + "/x",
                      missing = dir + "/none/x";
    EXPECT_TRUE(makeDirectoryAndParents(dir + "/t\\u//v/") && makeDirectoryAndParents(dir + "/t"));
    std::fclose(fopen_utf8(file, "wb"));
    auto const openTwice = [&](auto openStream, auto stream) {
        stream.setstate(std::ios_base::failbit);
        openStream(stream, file, std::ios_base::in);
        std::string const again = errorOf([&] { openStream(stream, missing, std::ios_base::in); });
        EXPECT_TRUE(stream.fail() && again != "" && again != "Success");
        stream.close();
        openStream(stream, missing, std::ios_base::in);
    };
    std::string const noFile = "No such file or directory";
    EXPECT_EQ(errorOf([&] { openTwice(ofstream_open_utf8, std::ofstream()); }), noFile);
    EXPECT_EQ(errorOf([&] { openTwice(ifstream_open_utf8, std::ifstream()); }), noFile);
    EXPECT_EQ(errorOf([&] { openTwice(fstream_open_utf8, std::fstream()); }), noFile);
    EXPECT_TRUE(makeDirectory(file) && fileExists(file) && !isDirectory(file)) << "already there";
    EXPECT_TRUE(isDirectory(dir + "/t\\u/v") && removeDirectory(dir + "/t"));
    EXPECT_FALSE(makeDirectoryAndParents(file + "/w") || fileExists(missing) ||
                 removeDirectory(dir));
    Tokens names = {"stale"}, all;
    getFilesInDir(names, dir, false);
    getFilesInDir(all, dir, true);
    EXPECT_TRUE(names == Tokens{"x"} && all.size() == 4) << "with ., .. and a directory";
    EXPECT_TRUE(removeFile(file) && !fileExists(file));
    std::filesystem::remove_all(base);
}

TEST(Utf, RoundTripsEveryCodePointAndNothingElse) {
    std::string bytes;
    for (unsigned long i = 0; i <= 0x10FFFF; i += i == 0xD7FF ? 0x801 : 1) {
        std::wstring units(1, wchar_t(i));
        if (i > 0xFFFF) units = {wchar_t(0xD7C0 + i / 0x400), wchar_t(0xDC00 + i % 0x400)};
        std::string const before = std::exchange(bytes, convertFromUtf16ToUtf8(units));
        ASSERT_TRUE(convertFromUtf8ToUtf16(bytes) == units && (i == 0 || before < bytes)) << i;
    }
    EXPECT_EQ(convertFromUtf16ToUtf8(L"\xE4\xD83D\xDE00"), "\xC3\xA4\xF0\x9F\x98\x80");
    // Cut short, overlong, surrogates, too large.
    for (auto const* malformed :
         {"\x80", "\xC3", "\xC3(", "\xE2\x82", "\xF0\x9F\x98", "\xF0\x9F\x98(", "\xC1\xBF",
          "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80",
          "\xF8\x88\x80\x80\x80", "\xFF"})
        EXPECT_THROW((void)convertFromUtf8ToUtf16(malformed), std::range_error) << malformed;
    for (auto const* malformed : {L"\xD800", L"\xDBFF\x61", L"a\xDFFF", L"\x10000"})
        EXPECT_THROW((void)convertFromUtf16ToUtf8(malformed), std::range_error);
}

TEST(Color, RoundTripsAndLeavesStrangeHuesAlone) {
    double h = 0, s = 0, v = 0, r = 7, g = 7, b = 7;
    for (double hue : {720.0, 360.5, -1.0, 0.0 / 0.0}) convertHSVToRGB(hue, 1, 1, r, g, b);
    EXPECT_EQ(r + g + b, 21);
    convertRGBToHSV(1, 0, 1e-20, h, s, v);
    EXPECT_EQ(h, 360) << "a little less, rounded";
    for (int i = 0; i < 729; ++i) {
        Values const rgb = {i / 81 / 8.0, i / 9 % 9 / 8.0, i % 9 / 8.0};
        convertRGBToHSV(rgb[0], rgb[1], rgb[2], h, s, v);
        convertHSVToRGB(s == 0 ? -1 : h == 0 ? 360 : h, s, v, r, g, b);
        expectNear({r, g, b}, rgb);
    }
}

}  // namespace Quivo::Testing

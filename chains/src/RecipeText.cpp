#include <quivo/chains/Recipe.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <functional>

namespace Quivo {

namespace {

constexpr std::string_view delimiters = "|,()\"";

bool isIn(std::string_view set, char c) noexcept { return set.find(c) != set.npos; }

bool isControl(char c) noexcept {
    auto const byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

bool isBlank(char c) noexcept { return c == ' ' || c == '\t'; }

// ---- printing ---------------------------------------------------------------------------------

/// Where a name stands decides what it need not be quoted for.
enum class NamePlace { Source, Entry, Channel };

bool isIndex(std::string_view text) noexcept {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Whether a name reads back without quotation marks and is what it looks like.
bool isBare(std::string_view name, NamePlace place) {
    auto const isPlain = [&](char c) {
        return !isControl(c) && !isBlank(c) && c != '%' && !isIn(delimiters, c) &&
               !(place == NamePlace::Entry && c == '=');
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), isPlain) &&
           !(place == NamePlace::Channel && isIndex(name));
}

/// The bytes of `text` that are no UTF-8, or are control characters in it, as %XX.
std::string escape(std::string_view text) {
    auto const isOdd = [](char c) {
        return isControl(c) || c == '%' || c == '"' || static_cast<unsigned char>(c) >= 0x80;
    };
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        if (!isOdd(text[i])) {
            result += text[i++];
            continue;
        }
        std::size_t length = 1;
        if (static_cast<unsigned char>(text[i]) >= 0xc2) {
            length = 2;
            while (length < 4 && toUtf8(text.substr(i, length)) != text.substr(i, length)) ++length;
        }
        auto const piece = text.substr(i, length);
        bool const isLetter = length > 1 && toUtf8(piece) == piece &&
                              !(piece[0] == '\xc2' && static_cast<unsigned char>(piece[1]) < 0xa0);
        if (isLetter) {
            result += piece;
            i += length;
            continue;
        }
        constexpr std::string_view digits = "0123456789ABCDEF";
        auto const byte = static_cast<unsigned char>(text[i++]);
        result += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    return result;
}

class Printer {
public:
    std::string text;

    void print(Recipe const& recipe) {
        std::visit(*this, recipe.source);
        for (auto const& link : recipe.links) {
            text += " | ";
            std::visit(*this, link);
        }
    }

    void operator()(NamedSource const& source) { printName(source.name, NamePlace::Source); }
    void operator()(BankSource const& bank) {
        printList("bank(", bank.entries, [&](BankEntry const& entry) {
            printName(entry.name, NamePlace::Entry);
            text += '=';
            printPart(entry.recipe);
        });
    }
    void operator()(StackSource const& stack) {
        printList("stack(", stack.parts, [&](Recipe const& part) { printPart(part); });
    }

    void operator()(BoxLink const& box) {
        text += "box ";
        auto const [x, y, width, height] = box.area;
        printNumbers({x, y, width, height});
        if (!box.slices) return;
        text += ',';
        printNumbers({box.slices->first, box.slices->second});
    }
    void operator()(SliceLink const& link) { text += "slice " + std::to_string(link.slice); }
    void operator()(ChannelsLink const& link) {
        text += "channels ";
        bool isFirst = true;
        for (auto const& channel : link.channels) {
            if (!isFirst) text += ',';
            isFirst = false;
            if (auto const* const index = std::get_if<long long>(&channel)) {
                text += std::to_string(*index);
            } else {
                printName(std::get<std::string>(channel), NamePlace::Channel);
            }
        }
    }
    void operator()(ScaleLink const& link) { text += "scale " + toText(link.factor); }
    void operator()(AtLink const& link) { text += "at " + toText(link.nanometres) + "nm"; }
    void operator()(RangeLink const& link) {
        // Adding 0 takes the sign from a zero.
        text += "range " + toText(link.min + 0.0) + "," + toText(link.max + 0.0);
        if (link.isRounded) text += ",round";
    }
    void operator()(DisplayLink const&) { text += "display"; }
    void operator()(TileLink const& link) {
        text += "tile ";
        printNumbers({link.width, link.height});
    }
    void operator()(CacheLink const& link) { text += "cache " + std::to_string(link.megabytes); }

private:
    template <typename List, typename Print>
    void printList(char const* head, List const& list, Print printOne) {
        text += head;
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (i > 0) text += ", ";
            printOne(list[i]);
        }
        text += ')';
    }
    void printPart(Recipe const& part) {
        if (part.links.empty()) return print(part);
        text += '(';
        print(part);
        text += ')';
    }
    void printNumbers(std::initializer_list<long long> numbers) {
        bool isFirst = true;
        for (auto const number : numbers) {
            if (!isFirst) text += ',';
            isFirst = false;
            text += std::to_string(number);
        }
    }
    void printName(std::string const& name, NamePlace place) {
        auto escaped = escape(name);
        bool const isPlain = escaped.size() == name.size() && isBare(name, place);
        text += isPlain ? escaped : '"' + escaped + '"';
    }
};

// ---- reading ----------------------------------------------------------------------------------

long long countCharacters(std::string_view text) noexcept {
    return std::count_if(text.begin(), text.end(),
                         [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; });
}

/// A decimal number times 10^shift, rounded once.
std::optional<double> parseDecimal(std::string_view text, int shift = 0) {
    auto const e = std::min(text.find_first_of("eE"), text.size());
    std::string shifted(text.substr(0, e));
    int exponent = 0;
    if (e < text.size()) {
        auto digits = text.substr(e + 1);
        if (digits.starts_with('+')) digits.remove_prefix(1);
        auto const [rest, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
        constexpr int most = 100000;
        bool const isNumber = error == std::errc() && rest == digits.data() + digits.size() &&
                              exponent > -most && exponent < most && !digits.empty();
        if (!isNumber) return std::nullopt;
    }
    shifted += 'e' + std::to_string(exponent + shift);
    double value = 0.0;
    char const* const end = shifted.data() + shifted.size();
    auto const [rest, error] = std::from_chars(shifted.data(), end, value);
    if (error != std::errc() || rest != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

/// Goes through a text once, from the left.
class Parser {
public:
    explicit Parser(std::string_view text) noexcept : text_(text) {}

    Recipe parseAll() {
        Recipe recipe = parseChain();
        if (at_ < text_.size()) fail("expected | or the end");
        return recipe;
    }

private:
    [[noreturn]] void failAt(std::size_t position, std::string const& expected) const {
        throw RecipeError(countCharacters(text_.substr(0, position)) + 1, expected);
    }
    /// With what stands there instead.
    [[noreturn]] void fail(std::string const& expected) const {
        if (at_ >= text_.size()) failAt(at_, expected + ", not the end");
        constexpr std::size_t most = 24;
        auto rest = text_.substr(at_);
        bool const isName = !isIn(delimiters, rest[0]);
        auto const end =
            isName ? std::min(rest.find_first_of("|,() \t\""), rest.size()) : std::size_t{1};
        bool const isLong = end > most;
        rest = rest.substr(0, isLong ? most : std::max<std::size_t>(end, 1));
        failAt(at_, expected + ", not \"" + toLine(toUtf8(rest)) + (isLong ? "...\"" : "\""));
    }

    void skipBlanks() noexcept {
        while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    }
    [[nodiscard]] bool isNext(char c) const noexcept {
        return at_ < text_.size() && text_[at_] == c;
    }
    /// Takes a character and the blanks around it.
    bool take(char c) noexcept {
        skipBlanks();
        if (!isNext(c)) return false;
        ++at_;
        skipBlanks();
        return true;
    }
    void need(char c, char const* expected) {
        if (!take(c)) fail(expected);
    }

    Recipe parseChain() {
        Recipe recipe;
        skipBlanks();
        recipe.source = parseSource();
        while (take('|')) recipe.links.push_back(parseLink());
        return recipe;
    }

    RecipeSource parseSource() {
        if (isNext('"')) return NamedSource{parseName("a source", {})};
        auto const start = at_;
        auto const word = peekWord();
        bool const isBank = word == "bank", isStack = word == "stack";
        if (isBank || isStack) {
            at_ += word.size();
            if (take('(')) {
                return isBank ? RecipeSource(parseBank(start)) : RecipeSource(parseStack(start));
            }
            at_ = start;
        }
        return NamedSource{parseName(
            "a source: the name of a file, of a computed image, bank(...) or stack(...)", {})};
    }

    BankSource parseBank(std::size_t start) {
        BankSource bank;
        do {
            auto name = parseName("the name of a channel", "=");
            need('=', "expected = behind the name of a channel");
            bank.entries.push_back({std::move(name), parsePart(start)});
        } while (take(','));
        need(')', "expected , or )");
        return bank;
    }

    StackSource parseStack(std::size_t start) {
        StackSource stack;
        do {
            stack.parts.push_back(parsePart(start));
        } while (take(','));
        need(')', "expected , or )");
        return stack;
    }

    Recipe parsePart(std::size_t start) {
        if (++depth_ > Recipe::mostNested) {
            failAt(start, "expected chains in one another at most " +
                              std::to_string(Recipe::mostNested) + " deep");
        }
        Recipe part;
        if (take('(')) {
            part = parseChain();
            need(')', "expected | or )");
        } else {
            part.source = parseSource();
            skipBlanks();
            if (isNext('|')) fail("expected , or ) (a chain with links stands in parentheses)");
        }
        --depth_;
        return part;
    }

    /// The letters that come next.
    [[nodiscard]] std::string_view peekWord() const noexcept {
        auto const rest = text_.substr(at_);
        auto const* const end =
            std::find_if(rest.begin(), rest.end(), [](char c) { return c < 'a' || c > 'z'; });
        return rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    }

    [[nodiscard]] char parseByte() {
        auto const digit = [&](std::size_t i) -> unsigned {
            char const c = i < text_.size() ? text_[i] : '\0';
            if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
            if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10U;
            if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10U;
            return 16;
        };
        auto const high = digit(at_ + 1), low = digit(at_ + 2);
        if (high > 15 || low > 15 || high + low == 0) {
            failAt(at_, "expected a byte as in %2F behind %, and a percent sign as %25");
        }
        at_ += 3;
        return static_cast<char>(high << 4U | low);
    }

    /// A name in quotation marks, or as far as no delimiter and none of `more` comes, without the
    /// blanks around it.
    std::string parseName(char const* what, std::string_view more) {
        skipBlanks();
        bool const isQuoted = isNext('"');
        auto const start = at_;
        if (isQuoted) ++at_;
        std::string name;
        std::size_t length = 0;  // without the blanks at the end
        while (at_ < text_.size()) {
            char const c = text_[at_];
            if (isQuoted ? c == '"' : isIn(delimiters, c) || isIn(more, c)) break;
            bool const isMeant = isQuoted || !isBlank(c);
            if (isControl(c) && c != '\t') {
                failAt(at_, "expected control characters of names as in %0A");
            }
            if (c == '%') {
                name += parseByte();
            } else {
                name += c;
                ++at_;
            }
            if (isMeant) length = name.size();
        }
        name.resize(length);
        if (isQuoted && !isNext('"')) failAt(start, "expected a second quotation mark");
        if (isQuoted) ++at_;
        if (name.empty()) {
            if (isQuoted) at_ = start;
            fail(std::string("expected ") + what);
        }
        if (!isQuoted && (isNext('(') || isNext('"'))) {
            fail("expected no such character in a name without quotation marks");
        }
        skipBlanks();
        return name;
    }

    /// What stands up to the next delimiter or blank.
    std::string_view parseToken() {
        skipBlanks();
        auto const end = std::min(text_.find_first_of("|,() \t\"", at_), text_.size());
        return text_.substr(at_, end - at_);
    }

    long long parseWhole(ValueRange<long long> range, char const* what) {
        auto const token = parseToken();
        auto const number = parseInteger(token);
        if (!number || *number < range.min || *number > range.max) {
            fail(std::string("expected ") + what);
        }
        at_ += token.size();
        return *number;
    }

    double parseReal(char const* what, bool (*isGood)(double)) {
        auto const token = parseToken();
        auto const number = parseDecimal(token);
        if (!number || !isGood(*number)) fail(std::string("expected ") + what);
        at_ += token.size();
        return *number;
    }

    void needComma(char const* what) { need(',', what); }

    /// The first and how many, which end at a coordinate.
    std::pair<long long, long long> checkSpan(long long first, long long count,
                                              std::size_t start) const {
        if (first > 0 && count - 1 > anyInteger.max - first) {
            failAt(start, "expected a box that ends at a coordinate of at most 64 bits");
        }
        return {first, count};
    }

    RecipeLink parseLink() {
        struct Rule {
            std::string_view word;
            RecipeLink (Parser::*parse)();
        };
        static constexpr std::array<Rule, 9> rules{{{"box", &Parser::parseBox},
                                                    {"slice", &Parser::parseSlice},
                                                    {"channels", &Parser::parseChannels},
                                                    {"scale", &Parser::parseScale},
                                                    {"at", &Parser::parseAt},
                                                    {"range", &Parser::parseRange},
                                                    {"display", &Parser::parseDisplay},
                                                    {"tile", &Parser::parseTile},
                                                    {"cache", &Parser::parseCache}}};
        auto const word = peekWord();
        auto const* const rule =
            std::find_if(rules.begin(), rules.end(), [&](Rule const& r) { return r.word == word; });
        auto const behind = at_ + word.size();
        bool const isWhole =
            behind == text_.size() || isBlank(text_[behind]) || isIn(delimiters, text_[behind]);
        if (rule == rules.end() || !isWhole) {
            fail("expected box, slice, channels, scale, at, range, display, tile or cache");
        }
        at_ = behind;
        auto link = std::invoke(rule->parse, this);
        skipBlanks();
        bool const isEnd = at_ == text_.size() || isNext('|') || isNext(')');
        if (!isEnd) fail("expected | or the end");
        return link;
    }

    RecipeLink parseBox() {
        skipBlanks();
        auto const start = at_;
        BoxLink box;
        auto& r = box.area;
        constexpr char const* rule = "expected , as in X,Y,WIDTH,HEIGHT";
        constexpr char const* corner = "a whole number, as in X,Y,WIDTH,HEIGHT";
        constexpr char const* side = "a whole number from 1 on, as in X,Y,WIDTH,HEIGHT";
        r.x = parseWhole(anyInteger, corner);
        needComma(rule);
        r.y = parseWhole(anyInteger, corner);
        needComma(rule);
        r.width = parseWhole(positiveInteger, side);
        needComma(rule);
        r.height = parseWhole(positiveInteger, side);
        (void)checkSpan(r.x, r.width, start);
        (void)checkSpan(r.y, r.height, start);
        if (!take(',')) return box;
        auto const first = parseWhole(anyInteger, "the number of the first slice");
        needComma("expected , as in X,Y,WIDTH,HEIGHT,Z,DEPTH");
        box.slices =
            checkSpan(first, parseWhole(positiveInteger, "a number of slices from 1 on"), start);
        return box;
    }

    RecipeLink parseSlice() {
        return SliceLink{parseWhole({0, anyInteger.max}, "the number of a slice, from 0 on")};
    }

    RecipeLink parseChannels() {
        ChannelsLink link;
        do {
            skipBlanks();
            auto const token = parseToken();
            if (isIndex(token)) {
                link.channels.emplace_back(
                    parseWhole({0, anyInteger.max}, "the number of a channel, of at most 64 bits"));
            } else {
                link.channels.emplace_back(parseName("the name or number of a channel", {}));
            }
        } while (take(','));
        return link;
    }

    RecipeLink parseScale() {
        return ScaleLink{parseReal("a factor above 0 and below 1",
                                   [](double value) { return value > 0.0 && value < 1.0; })};
    }

    RecipeLink parseAt() {
        struct Unit {
            std::string_view name;
            int shift;  // to nanometres, in powers of ten
        };
        static constexpr std::array units{Unit{"nm", 0}, Unit{"um", 3}, Unit{"\xc2\xb5m", 3},
                                          Unit{"\xce\xbcm", 3}};
        auto const token = parseToken();
        double size = 0.0;
        for (auto const& [name, shift] : units) {
            if (!token.ends_with(name)) continue;
            size = parseDecimal(token.substr(0, token.size() - name.size()), shift).value_or(0.0);
        }
        if (token.ends_with('x')) {
            constexpr double once = 10000.0;  // nanometres
            size = once / parseDecimal(token.substr(0, token.size() - 1)).value_or(0.0);
        }
        if (!(size > 0.0) || !std::isfinite(size)) {
            fail("expected the size of a pixel, as in 0.5um, 250nm or 20x");
        }
        at_ += token.size();
        return AtLink{size};
    }

    RecipeLink parseRange() {
        auto const isAny = [](double) { return true; };
        RangeLink link;
        link.min = parseReal("a number, as in MIN,MAX", isAny) + 0.0;
        needComma("expected , as in MIN,MAX");
        auto const start = at_;
        link.max = parseReal("a number, as in MIN,MAX", isAny) + 0.0;
        if (link.min == link.max) failAt(start, "expected two different numbers, as in MIN,MAX");
        if (take(',')) {
            if (parseToken() != "round") fail("expected round");
            at_ += std::string_view("round").size();
            link.isRounded = true;
        }
        return link;
    }

    // As a member, because it stands in the table.
    // NOLINTNEXTLINE(readability-convert-member-functions-to-static)
    RecipeLink parseDisplay() { return DisplayLink(); }

    RecipeLink parseTile() {
        constexpr ValueRange<long long> sides(1, 1LL << 30);
        constexpr char const* side = "a whole number from 1 to 1073741824, as in WIDTH,HEIGHT";
        TileLink link;
        link.width = parseWhole(sides, side);
        needComma("expected , as in WIDTH,HEIGHT");
        link.height = parseWhole(sides, side);
        return link;
    }

    RecipeLink parseCache() {
        return CacheLink{parseWhole({0, 1LL << 40}, "a number of megabytes")};
    }

    std::string_view text_;
    std::size_t at_ = 0;
    int depth_ = 0;
};

}  // namespace

RecipeError::RecipeError(long long column, std::string const& problem)
    : std::runtime_error("column " + std::to_string(column) + ": " + problem), column_(column) {}

RecipeError::~RecipeError() = default;

// Written out: these types hold one another, and not every compiler compares such by default.
bool Recipe::operator==(Recipe const& other) const {
    return source == other.source && links == other.links;
}
bool BankEntry::operator==(BankEntry const& other) const {
    return name == other.name && recipe == other.recipe;
}
bool BankSource::operator==(BankSource const& other) const { return entries == other.entries; }
bool StackSource::operator==(StackSource const& other) const { return parts == other.parts; }

Recipe Recipe::parse(std::string_view text) { return Parser(text).parseAll(); }

std::string Recipe::print() const {
    Printer printer;
    printer.print(*this);
    return std::move(printer.text);
}

}  // namespace Quivo

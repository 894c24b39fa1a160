// Recipes: any text is refused with a place in it, or has one canonical text; any value has a text
// that gives it back.

#include "Fuzz.h"

#include <quivo/chains/Recipe.h>

#include <cmath>
#include <limits>

namespace Quivo::Fuzzing {

namespace {

void checkText(std::string const& text) {
    Recipe recipe;
    try {
        recipe = Recipe::parse(text);
    } catch (RecipeError const& error) {
        std::string const what = error.what();
        require(
            error.getColumn() >= 1 && error.getColumn() <= static_cast<long long>(text.size()) + 1,
            "a column is one of the text, or behind it");
        require(toLine(what) == what && toUtf8(what) == what, "an error is one line of text");
        return;
    }
    std::string const printed = recipe.print();
    require(toLine(printed) == printed && toUtf8(printed) == printed, "a recipe is one line");
    Recipe const again = Recipe::parse(printed);
    require(again == recipe && again.print() == printed, "the canonical text is the recipe");
}

std::string makeName(Choices& choices) {
    std::string name = choices.text(12);
    std::erase(name, '\0');
    return name.empty() ? "7" : name;
}

double makeReal(Choices& choices) {
    double const value = choices.real();
    return std::isfinite(value) ? value + 0.0 : 1.0;
}

RecipeLink makeLink(Choices& choices) {
    auto const positive = [&] { return choices.integer(1, 1LL << 30); };
    auto const any = [&] { return choices.integer(-(1LL << 62), 1LL << 62); };
    switch (choices.integer(0, 8)) {
        case 0: {
            BoxLink box{{any(), any(), positive(), positive()}, {}};
            if (choices.flag()) box.slices.emplace(any(), positive());
            return box;
        }
        case 1:
            return SliceLink{choices.integer(0, std::numeric_limits<long long>::max())};
        case 2: {
            ChannelsLink link;
            do {
                if (choices.flag()) {
                    link.channels.emplace_back(positive());
                } else {
                    link.channels.emplace_back(makeName(choices));
                }
            } while (choices.flag());
            return link;
        }
        case 3: {
            double const factor = std::abs(makeReal(choices));
            return ScaleLink{factor > 0.0 && factor < 1.0 ? factor : 0.3};
        }
        case 4: {
            double const size = std::abs(makeReal(choices));
            return AtLink{size > 0.0 ? size : 252.6};
        }
        case 5: {
            RangeLink link{makeReal(choices), makeReal(choices), choices.flag()};
            if (link.min == link.max) link.max = link.min == 0.0 ? 1.0 : 0.0;
            return link;
        }
        case 6:
            return TileLink{positive(), positive()};
        case 7:
            return CacheLink{choices.integer(0, 1LL << 40)};
        default:
            return DisplayLink();
    }
}

Recipe makeRecipe(Choices& choices, int depth) {
    Recipe recipe;
    auto const kind = depth > 4 ? 0 : choices.integer(0, 3);
    if (kind < 2) {
        recipe.source = NamedSource{makeName(choices)};
    } else if (kind == 2) {
        BankSource bank;
        do {
            bank.entries.push_back({makeName(choices), makeRecipe(choices, depth + 1)});
        } while (choices.flag());
        recipe.source = std::move(bank);
    } else {
        StackSource stack;
        do {
            stack.parts.push_back(makeRecipe(choices, depth + 1));
        } while (choices.flag());
        recipe.source = std::move(stack);
    }
    while (choices.flag()) recipe.links.push_back(makeLink(choices));
    return recipe;
}

}  // namespace

}  // namespace Quivo::Fuzzing

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace Quivo;
    Fuzzing::Choices choices(data, size);
    if (choices.flag()) {
        Fuzzing::checkText(choices.rest());
        return 0;
    }
    Recipe const recipe = Fuzzing::makeRecipe(choices, 0);
    Fuzzing::require(Recipe::parse(recipe.print()) == recipe, "a recipe survives its text");
    Fuzzing::checkText(recipe.print());
    return 0;
}

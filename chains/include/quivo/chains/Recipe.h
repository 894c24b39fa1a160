#pragma once

/// \file
/// Chains of images as values and as text: what is read, and what is done to it on the way.
/// docs/recipes.md has the grammar. Plain values; any thread.

#include <quivo/chains/Text.h>
#include <quivo/core/Export.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Quivo {

struct Recipe;
struct BankEntry;

/// A file, a part of one or a computed image, by the name that `openImage` takes.
struct NamedSource {
    std::string name;  ///< perhaps with what it selects: "file.tif#7"
    /// Whether all that they hold is the same.
    bool operator==(NamedSource const&) const = default;
};

/// The channels of several chains side by side.
struct BankSource {
    std::vector<BankEntry> entries;  ///< at least one
    /// Whether all that they hold is the same.
    QUIVO_API bool operator==(BankSource const& other) const;
};

/// The slices of several chains, one chain after the other.
struct StackSource {
    std::vector<Recipe> parts;  ///< at least one
    /// Whether all that they hold is the same.
    QUIVO_API bool operator==(StackSource const& other) const;
};

/// What a chain begins with.
using RecipeSource = std::variant<NamedSource, BankSource, StackSource>;

/// `box`: a part, in pixels of level 0; outside the image there is 0.
struct BoxLink {
    Rectangle area;  ///< of each slice
    std::optional<std::pair<long long, long long>>
        slices;  ///< the first, and how many; all without
    /// Whether all that they hold is the same.
    bool operator==(BoxLink const&) const = default;
};

/// `slice`: a single slice, from 0.
struct SliceLink {
    long long slice = 0;  ///< its number
    /// Whether all that they hold is the same.
    bool operator==(SliceLink const&) const = default;
};

/// `channels`: some, by name or by index from 0, in this order.
struct ChannelsLink {
    std::vector<std::variant<std::string, long long>> channels;  ///< at least one
    /// Whether all that they hold is the same.
    bool operator==(ChannelsLink const&) const = default;
};

/// `scale`: shrunk by a factor above 0 and below 1; every pixel is the mean of those under it.
struct ScaleLink {
    double factor = 0.5;  ///< of both sides
    /// Whether all that they hold is the same.
    bool operator==(ScaleLink const&) const = default;
};

/// `at`: shrunk until pixels have this size.
struct AtLink {
    double nanometres = 0.0;  ///< above 0
    /// Whether all that they hold is the same.
    bool operator==(AtLink const&) const = default;
};

/// `range`: the source's value range onto another one; whole numbers where they are rounded.
struct RangeLink {
    double min = 0.0;        ///< what becomes of the lowest value
    double max = 0.0;        ///< what becomes of the highest, not the same
    bool isRounded = false;  ///< to whole numbers
    /// Whether all that they hold is the same.
    bool operator==(RangeLink const&) const = default;
};

/// `display`: colours as a screen shows them.
struct DisplayLink {
    /// Whether all that they hold is the same.
    bool operator==(DisplayLink const&) const = default;
};

/// `tile`: how the chain is best read, in pixels; no values change.
struct TileLink {
    long long width = 0;   ///< at least 1
    long long height = 0;  ///< at least 1
    /// Whether all that they hold is the same.
    bool operator==(TileLink const&) const = default;
};

/// `cache`: keeps what was read; no values change.
struct CacheLink {
    long long megabytes = 0;  ///< 0: none is kept
    /// Whether all that they hold is the same.
    bool operator==(CacheLink const&) const = default;
};

/// What is done to a chain.
using RecipeLink = std::variant<BoxLink, SliceLink, ChannelsLink, ScaleLink, AtLink, RangeLink,
                                DisplayLink, TileLink, CacheLink>;

/// A text that is no recipe. What it says is one line: "column 7: expected a whole number, not
/// ...".
class QUIVO_API RecipeError : public std::runtime_error {
public:
    /// `column` counts characters of UTF-8, from 1.
    RecipeError(long long column, std::string const& problem);
    ~RecipeError() override;
    RecipeError(RecipeError const&) = default;             ///< as exceptions are
    RecipeError& operator=(RecipeError const&) = default;  ///< as exceptions are

    /// Where in the text, from 1.
    [[nodiscard]] long long getColumn() const noexcept { return column_; }

private:
    long long column_;
};

/// A chain: where pixels come from, and what is done to them, in order. Nothing is opened and
/// nothing of it is checked against files.
struct QUIVO_API Recipe {
    RecipeSource source;            ///< where pixels come from
    std::vector<RecipeLink> links;  ///< what is done to them, in order

    /// The deepest that chains may stand in one another.
    static constexpr int mostNested = 32;

    /// Reads "slide.svs | box 0,0,512,512 | at 0.5um".
    /// error: RecipeError.
    [[nodiscard]] static Recipe parse(std::string_view text);

    /// The one text of a recipe: equal recipes have the same bytes, and `parse` gives the recipe
    /// back where its numbers are such as `parse` takes.
    [[nodiscard]] std::string print() const;

    /// Whether all that they hold is the same.
    bool operator==(Recipe const& other) const;
};

/// One chain of a bank, and what its channel is called there.
struct BankEntry {
    std::string name;  ///< of a channel
    Recipe recipe;     ///< where it comes from
    /// Whether all that they hold is the same.
    QUIVO_API bool operator==(BankEntry const& other) const;
};

}  // namespace Quivo

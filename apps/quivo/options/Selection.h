#pragma once

#include "options/Arguments.h"
#include "options/Region.h"

#include <quivo/core/Box.h>
#include <quivo/image/Image.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Quivo::tool {

class Input;

/// How much a subcommand shrinks what it reads: the options --scale and --cache-mb.
struct ScaleOptions {
    std::optional<double> factor;
    long long cacheSizeMB = 256;

    /// Adds the options to `app`; this object outlives the parse. Returns --scale.
    CLI::Option* addTo(CLI::App& app);
};

/// The part of an input that a subcommand works on as an image of its own: a chain of filters that
/// cut out the box, take the slice and shrink the result, in this order. One thread at a time.
class Selection {
public:
    /// What becomes of a box that reaches outside the image.
    enum class Border {
        Zeros,  ///< it keeps its size
        Cut     ///< it loses what lies outside
    };

    /// The whole image, all levels and slices, where `region` says nothing, and all channels where
    /// `channels` names none.
    /// error: std::runtime_error when the input has no such level or slice, or when nothing is
    /// left of a box that is cut.
    Selection(Input const& input, RegionOptions const& region, Border border,
              std::vector<long long> channels = {});

    /// Shrinks the selection, which is going to be read at `level`. Once.
    /// error: std::runtime_error when no pixel remains or a single one takes too much memory.
    void scale(double factor, long long level, long long cacheSizeMB);

    /// Prepares for a reader that wants tiles of level 0, row after row.
    void expectTiles(long long tileSide, long long cacheSizeMB);

    [[nodiscard]] Image& getImage() const noexcept { return *top_; }

    /// Where the box lies in a level of the image, in its first slice: the whole level, unless the
    /// box keeps its size and reaches outside.
    [[nodiscard]] Box getFrame(long long level) const;

    /// How many rows of it are best read across the whole width before those below.
    [[nodiscard]] long long getBandHeight() const noexcept;

    /// Whether a level of the image is one that the file stores: nothing is computed or moved.
    [[nodiscard]] bool isLevelStored(long long level) const noexcept;

private:
    template <typename F, typename... Arguments>
    void add(Arguments&&... arguments) {
        filters_.push_back(std::make_unique<F>(top_, std::forward<Arguments>(arguments)..., false));
        top_ = filters_.back().get();
    }
    void build(std::optional<Vector> const& cacheTile, long long cacheSizeMB);

    Input const& input_;
    std::vector<long long> channels_;
    long long baseLevel_;
    std::optional<Box> box_;  ///< in the base level, as given
    std::optional<long long> slice_;
    std::optional<double> factor_;
    Box frame_;  ///< the box in the coordinates of the image before it is shrunk
    std::vector<std::unique_ptr<Image>> filters_;
    Image* top_ = nullptr;
};

}  // namespace Quivo::tool

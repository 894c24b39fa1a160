#pragma once

#include <quivo/core/Export.h>
#include <quivo/filters/Filter.h>
#include <quivo/samples/SampleSource.h>

namespace Quivo {

/// Its source with as many levels as one wants, each half of the one before, as a file of levels
/// needs them: a writer that computes each level from the one before asks the source for level 0
/// alone.
///
/// Reads go to the source's level of the same number, which may have fewer or other levels: what it
/// does not have reads as its zeros. Immutable after construction; as safe as the source.
class QUIVO_API HalvedLevels : public Filter, public SampleSource {
public:
    /// The levels 0 ... numLevels - 1, at most those at which x and y are both at least 1.
    HalvedLevels(Image* source, long long numLevels, bool takeOwnership);
    ~HalvedLevels() override;

    /// The number of levels down to the first that fits into one tile of `tileSide` x `tileSide`
    /// (at least 1): further ones would only cost space.
    [[nodiscard]] static long long countLevelsToTile(Vector const& extent,
                                                     long long tileSide) noexcept;

    /// The source's level-0 extent with x and y divided by 2^level, truncated.
    Vector getExtent(long long level) const override;
    long long getNumLevels() const override;

    /// The source's type.
    [[nodiscard]] std::optional<SampleType> getStoredType() const override;
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;

private:
    detail::OwnClass ownClass_ = detail::OwnClass::of<HalvedLevels>();
    long long numLevels_;
};

}  // namespace Quivo

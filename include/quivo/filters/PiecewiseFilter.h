#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>
#include <quivo/filters/Filter.h>
#include <quivo/samples/SampleSource.h>

namespace Quivo {

/// Its source, read in pieces of one slice each, row of pieces after row of pieces: a large region
/// then takes little memory below, and a read in a `CancellationScope` can be stopped between two
/// pieces.
///
/// Immutable after construction; reads are as safe as the source's.
class QUIVO_API PiecewiseFilter : public Filter, public SampleSource {
public:
    /// Pieces are `pieceExtent` large in x and y; less than 1 counts as 1.
    PiecewiseFilter(Image* source, Vector const& pieceExtent, bool takeOwnership) noexcept;
    ~PiecewiseFilter() override;

    /// error: std::bad_alloc, what the source throws, and what the checkers of scopes throw.
    void openRegion(double* dst, long long level, Box const& region) override;

    /// The source's type.
    [[nodiscard]] std::optional<SampleType> getStoredType() const override;
    /// error: as for `openRegion`.
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;

private:
    template <typename T, typename Read>
    void readPieces(T* dst, Box const& region, long long numPlanes, Read read);

    detail::OwnClass ownClass_ = detail::OwnClass::of<PiecewiseFilter>();
    Vector pieceExtent_;
};

}  // namespace Quivo

#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>
#include <quivo/filters/Filter.h>
#include <quivo/samples/SampleSource.h>

namespace Quivo {

class CancellationChecker;

/// Its source, read in pieces of one slice each, row of pieces after row of pieces: a large region
/// then takes little memory below, and a read can be stopped between two pieces.
///
/// Immutable after construction; reads are as safe as the source's and the checker.
class QUIVO_API PiecewiseFilter : public Filter, public SampleSource {
public:
    /// Pieces are `pieceExtent` large, at least 1 in x and y. `checker` (null: none) is asked
    /// before every piece; it outlives all reads.
    PiecewiseFilter(Image* source, Vector const& pieceExtent, CancellationChecker* checker,
                    bool takeOwnership) noexcept;
    ~PiecewiseFilter() override;

    /// error: std::bad_alloc, and whatever the source and the checker throw.
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
    CancellationChecker* checker_;
};

}  // namespace Quivo

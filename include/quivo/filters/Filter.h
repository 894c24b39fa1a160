#pragma once

#include <quivo/core/Export.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Facets.h>
#include <quivo/image/Image.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/util/MaybeOwned.h>

#include <string>

namespace Quivo {

/// A view of exactly one source image: by itself the identity, and the base of every filter.
///
/// Every operation is forwarded to the source unchanged, so a concrete filter overrides only what
/// it changes, and the rest (names, identifiers, change stamp) flows through a chain untouched. The
/// source is deleted with the filter exactly when `takeOwnership` was true; otherwise it must
/// outlive all reads. `getMetadata` of a filter is `handOnMetadata`, unless the concrete filter
/// derives from `MetadataSource` too. Threads: no state of its own, as safe as the source.
class QUIVO_API Filter : public Image, public Facets {
public:
    /// Nothing is checked; a null source is stored, and every forwarded call is then undefined.
    Filter(Image* source, bool takeOwnership) noexcept;
    ~Filter() override;

    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    ValueRange<double> getValueRange() const override;
    Vector getVoxelSize(long long level) const override;
    Vector getTileExtent() const override;
    void openRegion(double* dst, long long level, Box const& region) override;
    std::string getSliceName(long long index) override;
    std::string getChannelName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;
    ContentHash getHash() override;

    /// The rule of `DisplayView` for this filter's own value range.
    Image* getViewableRepresentation() override;

protected:
    /// The source, which stays where it is.
    [[nodiscard]] Image* getSource() const noexcept { return source_.get(); }

private:
    /// What the source means, as far as the filter does not say otherwise.
    class HandedOn final : public MetadataSource {
    public:
        explicit HandedOn(Filter& filter) noexcept : filter_(filter) {}
        Metadata getMetadata() override;

    private:
        Filter& filter_;
    };

    HandedOn handedOn_{*this};
    // Destroyed in reverse order: the source goes first, then the view of this filter.
    DisplayView viewableRepresentation_;
    MaybeOwned<Image> source_;
};

}  // namespace Quivo

#pragma once

#include <quivo/core/Export.h>
#include <quivo/filters/SubImageFilter.h>

#include <string>

namespace Quivo {

/// One z-slice of the source as a two-dimensional image with an identifier of its own. A slice that
/// the source does not have gives an empty image. Reads are as safe as the source's.
class QUIVO_API SliceFilter : public SubImageFilter {
public:
    /// Asks the source for its extent.
    /// error: what that throws; a source handed over with ownership is deleted then too.
    SliceFilter(Image* source, long long slice, bool takeOwnership);
    ~SliceFilter() override;

    /// The number of the slice in decimal. `image` is not asked.
    [[nodiscard]] static std::string getSliceImageId(Image* image, long long slice);
    /// Empty. `image` is not asked.
    [[nodiscard]] static std::string getSliceImageURL(Image* image, long long slice);

    /// Empty: a slice has no location of its own.
    std::string getURL() const override;
    /// The source's name of the slice for index 0, otherwise empty.
    std::string getSliceName(long long index) override;
    /// `getSliceImageId` of this slice.
    std::string getId() const override;
    /// The source's identifier: all slices of an image form a group.
    std::string getGroupId() const override;

private:
    long long slice_;
};

}  // namespace Quivo

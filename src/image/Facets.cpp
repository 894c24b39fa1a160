#include <quivo/image/Facets.h>

#include <quivo/image/Image.h>
#include <quivo/image/PixelsInMemory.h>

namespace Quivo {

Facets::~Facets() = default;

SampleSource* Facets::getSampleSource(Image const& image) const noexcept {
    return samplesClass_.isClassOf(image) ? samples_ : nullptr;
}

PixelsInMemory* Facets::getPixelsInMemory(Image const& image) const noexcept {
    return pixelsClass_.isClassOf(image) ? pixels_ : nullptr;
}

PixelsInMemory::~PixelsInMemory() = default;

PixelsInMemory* findPixelsInMemory(Image& image) noexcept {
    if (auto* const own = dynamic_cast<PixelsInMemory*>(&image)) return own;
    auto const* const facets = dynamic_cast<Facets const*>(&image);
    return facets ? facets->getPixelsInMemory(image) : nullptr;
}

}  // namespace Quivo

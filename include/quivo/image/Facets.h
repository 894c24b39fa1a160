#pragma once

#include <quivo/core/Export.h>

#include <typeinfo>

namespace Quivo {

class Image;
class MetadataSource;
class PixelsInMemory;
class SampleSource;

namespace detail {

/// Of which class an object is when nothing is derived from that class: what goes around virtual
/// operations is right for such objects only, because a derived class may override them. Plain
/// value.
class OwnClass {
public:
    /// `T` is the class whose constructor says so.
    template <typename T>
    [[nodiscard]] static OwnClass of() noexcept {
        return OwnClass(typeid(T));
    }

    /// Whether `object` is of the class itself.
    template <typename T>
    [[nodiscard]] bool isClassOf(T const& object) const noexcept {
        return typeid(object) == *type_;
    }

private:
    explicit OwnClass(std::type_info const& type) noexcept : type_(&type) {}

    std::type_info const* type_;
};

}  // namespace detail

/// What an image of a settled class offers beside the operations of `Image`: native samples, what
/// the numbers mean, pixels in memory. An image class of one's own does not need this: it derives
/// from `SampleSource` or `MetadataSource`.
///
/// The classes of this library whose virtual operations are settled derive from it and, without one
/// more virtual operation, offer objects that they hold. `findSampleSource`, `getMetadata` and
/// filters ask for them. Immutable after construction; any thread.
class QUIVO_API Facets {
public:
    Facets(Facets const&) = delete;
    Facets& operator=(Facets const&) = delete;
    virtual ~Facets();

    /// The samples of `image`, which this object is a part of; null when it offers none, and for an
    /// object of a class that is derived from the one that offers them, whose overrides count.
    [[nodiscard]] SampleSource* getSampleSource(Image const& image) const noexcept;
    /// Its pixels, likewise.
    [[nodiscard]] PixelsInMemory* getPixelsInMemory(Image const& image) const noexcept;
    /// What its numbers mean; also for objects of derived classes.
    [[nodiscard]] MetadataSource* getMetadataSource() const noexcept { return metadata_; }

protected:
    Facets() noexcept = default;

    /// Offers a part of the object for images of class `Self`. The last one called counts, for
    /// samples and for pixels by itself: a derived class whose reads are those of its base says so
    /// again for itself.
    ///@{
    template <typename Self>
    void offerSamples(SampleSource* samples) noexcept {
        samples_ = samples;
        samplesClass_ = detail::OwnClass::of<Self>();
    }
    template <typename Self>
    void offerPixels(PixelsInMemory* pixels) noexcept {
        pixels_ = pixels;
        pixelsClass_ = detail::OwnClass::of<Self>();
    }
    void offerMetadata(MetadataSource* metadata) noexcept { metadata_ = metadata; }
    /// What is offered already, for images of class `Self` too.
    template <typename Self>
    void offerAgain() noexcept {
        samplesClass_ = pixelsClass_ = detail::OwnClass::of<Self>();
    }
    ///@}

private:
    SampleSource* samples_ = nullptr;
    PixelsInMemory* pixels_ = nullptr;
    MetadataSource* metadata_ = nullptr;
    detail::OwnClass samplesClass_ = detail::OwnClass::of<Facets>();
    detail::OwnClass pixelsClass_ = detail::OwnClass::of<Facets>();
};

}  // namespace Quivo

#pragma once

#include <quivo/core/Vector.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>

#include <optional>
#include <string>

namespace Quivo::detail {

struct WrittenShape;

/// What OME calls a type; null for one that it lacks.
[[nodiscard]] char const* getOmeType(SampleType type) noexcept;

/// Whether all channels share the planes of a slice, because they are the colours of a picture;
/// otherwise every channel has planes of its own.
[[nodiscard]] bool isOmePicture(Metadata const& metadata) noexcept;

/// The OME-XML of a file whose first pages are the planes of level 0, channels within slices.
/// error: std::bad_alloc.
[[nodiscard]] std::string makeOmeXml(Metadata const& metadata, WrittenShape const& shape);

/// What a source's OME-XML says beside what is written: names of elements and of attributes of
/// channels, a few of them. Empty where there is nothing.
/// error: std::bad_alloc.
[[nodiscard]] std::string findFurtherOmeItems(std::string const& xml);

/// Whether what a source's description says of pages and planes is also so in a file that has a
/// page with all channels for every slice.
/// error: std::bad_alloc.
///@{
[[nodiscard]] bool isOmeXmlTrue(std::string const& xml, long long numChannels,
                                WrittenShape const& shape);
[[nodiscard]] bool isImageJTrue(std::string const& description, long long numChannels,
                                WrittenShape const& shape);
///@}

}  // namespace Quivo::detail

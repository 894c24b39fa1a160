#pragma once

// What GDAL keeps as XML in tag 42112: items of the image and of its channels, by name.

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Quivo::detail {

/// The items of such XML. Plain value.
struct GdalMetadata {
    struct Channel {
        std::string name;  ///< what GDAL calls the description of a band
        std::map<std::string, std::string> items;

        [[nodiscard]] friend bool operator==(Channel const&, Channel const&) = default;
    };

    /// By "gdal:NAME", or "gdal:DOMAIN:NAME" where the item has a domain.
    std::map<std::string, std::string> items;
    std::vector<Channel> channels;

    [[nodiscard]] friend bool operator==(GdalMetadata const&, GdalMetadata const&) = default;
};

/// The items that XML says; of channels that are not there, or in XML that is damaged or much
/// larger than items are, nothing.
/// error: std::bad_alloc.
[[nodiscard]] GdalMetadata parseGdalMetadata(std::string_view xml, long long numChannels);

/// The XML that says the items; empty when there are none. Characters that XML cannot hold become
/// spaces.
/// error: std::bad_alloc.
[[nodiscard]] std::string toGdalXml(GdalMetadata const& metadata);

}  // namespace Quivo::detail

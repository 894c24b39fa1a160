#pragma once

#include <quivo/samples/SampleType.h>

#include <span>

namespace Quivo::tool {

/// A type for values of several. Plain value.
struct CommonType {
    SampleType type = SampleType::U8;
    bool isExact = true;  ///< whether it holds every value of them all
};

/// Whether `type` holds every value of `other`.
[[nodiscard]] bool holds(SampleType type, SampleType other) noexcept;

/// The narrowest type that holds every value of all `types`, an integer one where all are; doubles
/// where none does.
[[nodiscard]] CommonType findCommonType(std::span<SampleType const> types) noexcept;

}  // namespace Quivo::tool

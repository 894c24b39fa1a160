#include <quivo/samples/SampleType.h>

#include "samples/Samples.h"

#include <array>
#include <limits>

namespace Quivo {

std::string toString(SampleType type) {
    static constexpr std::array names{"u8",  "i8",  "u16", "i16", "u32", "i32",
                                      "u64", "i64", "f16", "f32", "f64"};
    auto const index = static_cast<std::size_t>(type);
    return index < names.size() ? names[index] : "?";
}

int getSampleBytes(SampleType type) noexcept {
    return detail::visitSampleType(type, [](auto sample) { return int{sizeof(sample)}; });
}

bool isInteger(SampleType type) noexcept {
    return detail::visitSampleType(type,
                                   [](auto sample) { return !detail::isFloat<decltype(sample)>; });
}

ValueRange<double> getDefaultValueRange(SampleType type) noexcept {
    return detail::visitSampleType(type, [](auto sample) -> ValueRange<double> {
        using T = decltype(sample);
        if constexpr (detail::isFloat<T>) return {0.0, 1.0};
        using Limits = std::numeric_limits<T>;
        return {static_cast<double>(Limits::min()), static_cast<double>(Limits::max())};
    });
}

}  // namespace Quivo

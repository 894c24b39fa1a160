#include <quivo/samples/SampleType.h>

#include "samples/Samples.h"

#include <limits>

namespace Quivo {

std::string toString(SampleType type) {
    switch (type) {
        case SampleType::U8:
            return "u8";
        case SampleType::U16:
            return "u16";
        case SampleType::U32:
            return "u32";
        case SampleType::I8:
            return "i8";
        case SampleType::I16:
            return "i16";
        case SampleType::I32:
            return "i32";
        case SampleType::F32:
            return "f32";
        case SampleType::F64:
            return "f64";
    }
    return "?";
}

int getSampleBytes(SampleType type) noexcept {
    return detail::visitSampleType(type, [](auto sample) { return int{sizeof(sample)}; });
}

ValueRange<double> getDefaultValueRange(SampleType type) noexcept {
    return detail::visitSampleType(type, [](auto sample) -> ValueRange<double> {
        using T = decltype(sample);
        if constexpr (std::is_floating_point_v<T>) return {0.0, 1.0};
        using Limits = std::numeric_limits<T>;
        return {static_cast<double>(Limits::min()), static_cast<double>(Limits::max())};
    });
}

}  // namespace Quivo

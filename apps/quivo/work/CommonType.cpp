#include "work/CommonType.h"

#include <algorithm>
#include <array>

namespace Quivo::tool {

namespace {

/// How many binary digits of a whole number the type holds.
int countDigits(SampleType type) noexcept {
    switch (type) {
        case SampleType::F16:
            return 11;
        case SampleType::F32:
            return 24;
        case SampleType::F64:
            return 53;
        case SampleType::I8:
        case SampleType::I16:
        case SampleType::I32:
        case SampleType::I64:
            return 8 * getSampleBytes(type) - 1;
        default:
            return 8 * getSampleBytes(type);
    }
}

bool isSigned(SampleType type) noexcept {
    return !isInteger(type) || countDigits(type) != 8 * getSampleBytes(type);
}

}  // namespace

bool holds(SampleType type, SampleType other) noexcept {
    if (isInteger(type) && !isInteger(other)) return false;
    return countDigits(type) >= countDigits(other) && (isSigned(type) || !isSigned(other));
}

CommonType findCommonType(std::span<SampleType const> types) noexcept {
    static constexpr std::array candidates{SampleType::U8,  SampleType::I8,  SampleType::U16,
                                           SampleType::I16, SampleType::U32, SampleType::I32,
                                           SampleType::U64, SampleType::I64, SampleType::F16,
                                           SampleType::F32, SampleType::F64};
    for (SampleType const type : candidates) {
        if (std::all_of(types.begin(), types.end(), [&](auto each) { return holds(type, each); })) {
            return {type, true};
        }
    }
    return {SampleType::F64, false};
}

}  // namespace Quivo::tool

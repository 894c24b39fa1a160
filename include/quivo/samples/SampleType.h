#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>

#include <string>

namespace Quivo {

/// The type of one stored sample: its kind and its bits.
///
/// Letters are those of unsigned and signed integers and of floats (IEEE 754), numbers are bits;
/// bytes are in the order of the machine. Beyond 2^53, doubles do not hold every `U64` and `I64`.
enum class SampleType { U8, I8, U16, I16, U32, I32, U64, I64, F16, F32, F64 };

/// The name in small letters: "u8", "i16", "f64".
[[nodiscard]] QUIVO_API std::string toString(SampleType type);

/// The bytes of one sample.
[[nodiscard]] QUIVO_API int getSampleBytes(SampleType type) noexcept;

/// Whether samples of the type are whole numbers; otherwise they are floats.
[[nodiscard]] QUIVO_API bool isInteger(SampleType type) noexcept;

/// Every value of an integer type, as near as doubles come to its ends; 0 ... 1 for floats.
[[nodiscard]] QUIVO_API ValueRange<double> getDefaultValueRange(SampleType type) noexcept;

}  // namespace Quivo

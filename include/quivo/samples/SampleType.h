#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>

#include <string>

namespace Quivo {

/// The type of one stored sample: its kind and its bits.
///
/// Letters are those of unsigned and signed integers and of floats, numbers are bits.
enum class SampleType { U8, U16, U32, I8, I16, I32, F32, F64 };

/// "u8", "u16", "u32", "i8", "i16", "i32", "f32" or "f64".
[[nodiscard]] QUIVO_API std::string toString(SampleType type);

/// The bytes of one sample.
[[nodiscard]] QUIVO_API int getSampleBytes(SampleType type) noexcept;

/// Every value of an integer type; 0 ... 1 for floats.
[[nodiscard]] QUIVO_API ValueRange<double> getDefaultValueRange(SampleType type) noexcept;

}  // namespace Quivo

#pragma once

#include <quivo/samples/SampleType.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Quivo::tool {

/// A type to choose; nothing means that of the source.
using TypeChoice = std::optional<SampleType>;

/// All types by their names, and "native" before them.
[[nodiscard]] inline std::vector<std::pair<std::string, TypeChoice>> listTypeChoices() {
    std::vector<std::pair<std::string, TypeChoice>> choices{{"native", std::nullopt}};
    for (SampleType const type :
         {SampleType::U8, SampleType::I8, SampleType::U16, SampleType::I16, SampleType::U32,
          SampleType::I32, SampleType::U64, SampleType::I64, SampleType::F16, SampleType::F32,
          SampleType::F64}) {
        choices.emplace_back(toString(type), type);
    }
    return choices;
}

}  // namespace Quivo::tool

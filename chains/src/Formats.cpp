#include <quivo/chains/Formats.h>
#include <quivo/chains/Text.h>
#include <quivo/synthetic/MandelbrotImage.h>

#if QUIVO_CHAINS_WITH_TIFF
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>
#endif

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace Quivo {

namespace {

// ---- TIFF -------------------------------------------------------------------------------------

constexpr std::array<std::string_view, 4> tiffSuffixes{".tif", ".tiff", ".btf", ".tf8"};

/// Either order of bytes, each with the number of TIFF or of BigTIFF.
bool isTiff(std::span<std::byte const> begin) noexcept {
    constexpr std::array marks{"II*\0", "MM\0*", "II+\0", "MM\0+"};
    return begin.size() >= 4 && std::any_of(marks.begin(), marks.end(), [&](char const* mark) {
               return std::memcmp(begin.data(), mark, 4) == 0;
           });
}

#if QUIVO_CHAINS_WITH_TIFF
/// A number from 1 on.
std::optional<long long> parseOrdinal(std::string_view text) {
    long long number = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number);
    bool const isNumber = error == std::errc() && rest == end && number >= 1;
    return isNumber ? std::optional(number) : std::nullopt;
}

std::unique_ptr<Image> openTiff(std::string const& input, OpenOptions const& options) {
    auto const [path, selectors] = splitInputName(input);
    TiffSelection selection;
    for (std::string_view const selector : selectors) {
        bool const isTime = selector.starts_with("t=");
        auto const number = parseOrdinal(isTime ? selector.substr(2) : selector);
        if (number) {
            (isTime ? selection.time : selection.page) = *number;
        } else if (selector == "indices") {
            selection.indices = true;
        } else {
            throw std::runtime_error(input + ": \"#" + std::string(selector) +
                                     "\" selects nothing: pages are selected as in #7, times as in "
                                     "#t=3, class numbers by #indices");
        }
    }
    return std::make_unique<TiffImage>(path, selection, options);
}

std::unique_ptr<ImageWriter> createTiff() { return std::make_unique<TiffWriter>(); }
#else
constexpr std::nullptr_t openTiff = nullptr;
constexpr std::nullptr_t createTiff = nullptr;
#endif

// ---- the Mandelbrot set -----------------------------------------------------------------------

constexpr std::string_view mandelbrotPrefix = "mandelbrot:";

std::unique_ptr<Image> openMandelbrot(std::string const& input, OpenOptions const&) {
    auto const size = parseSize(std::string_view(input).substr(mandelbrotPrefix.size()));
    auto const isSide = [](long long side) {
        return side >= 1 && side <= MandelbrotImage::maxSide;
    };
    if (size && isSide(size->x) && isSide(size->y)) {
        return std::make_unique<MandelbrotImage>(size->x, size->y);
    }
    throw std::runtime_error(input + ": the size must be two numbers from 1 to " +
                             std::to_string(MandelbrotImage::maxSide) +
                             ", as in mandelbrot:4096x4096");
}

// ---- the table --------------------------------------------------------------------------------

constexpr std::array<Format, 2> formats{{
    {"TIFF", tiffSuffixes, {}, isTiff, openTiff, createTiff},
    {"Mandelbrot set", {}, mandelbrotPrefix, nullptr, openMandelbrot, nullptr},
}};

char toLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool endsWith(std::string_view path, std::string_view suffix) noexcept {
    if (path.size() < suffix.size()) return false;
    std::string_view const end = path.substr(path.size() - suffix.size());
    return std::equal(end.begin(), end.end(), suffix.begin(),
                      [](char a, char b) { return toLower(a) == b; });
}

template <typename Predicate>
Format const* findIf(Predicate predicate) {
    auto const* const found = std::find_if(formats.begin(), formats.end(), predicate);
    return found == formats.end() ? nullptr : found;
}

/// The first format with files that this build has.
Format const* findFileFormat() {
    return findIf([](Format const& format) { return format.prefix.empty() && format.open; });
}

}  // namespace

std::span<Format const> getFormats() noexcept { return formats; }

Format const* findFormatOfBytes(std::span<std::byte const> begin) noexcept {
    return findIf([&](Format const& format) { return format.isBegin && format.isBegin(begin); });
}

Format const* findFormatOfPath(std::string_view path) {
    return findIf([&](Format const& format) {
        return std::any_of(format.suffixes.begin(), format.suffixes.end(),
                           [&](std::string_view suffix) { return endsWith(path, suffix); });
    });
}

InputName splitInputName(std::string const& input) {
    std::error_code none;
    InputName name{input, {}};
    if (std::filesystem::exists(input, none)) return name;
    for (auto end = input.rfind('#'); end != std::string::npos && end > 0;
         end = input.rfind('#', end - 1)) {
        auto path = input.substr(0, end);
        auto const status = std::filesystem::status(path, none);
        if (!exists(status) || is_directory(status)) continue;
        name.path = std::move(path);
        std::string_view rest = std::string_view(input).substr(end + 1);
        for (auto next = rest.find('#'); next != std::string_view::npos; next = rest.find('#')) {
            name.selectors.emplace_back(rest.substr(0, next));
            rest.remove_prefix(next + 1);
        }
        name.selectors.emplace_back(rest);
        break;
    }
    return name;
}

Format const* findFormat(std::string const& input) {
    auto const* const computed = findIf([&](Format const& format) {
        return !format.prefix.empty() && input.starts_with(format.prefix);
    });
    if (computed) return computed;
    auto const path = splitInputName(input).path;
    std::error_code none;
    if (std::filesystem::is_regular_file(path, none)) {
        std::array<char, numSniffedBytes> begin{};
        std::ifstream file(path, std::ios::binary);
        file.read(begin.data(), begin.size());
        auto const size = static_cast<std::size_t>(file.gcount());
        auto const* const found = findFormatOfBytes(std::as_bytes(std::span(begin).first(size)));
        if (found) return found;
    }
    return findFormatOfPath(path);
}

std::unique_ptr<Image> openImage(std::string const& input, OpenOptions const& options) {
    Format const* const known = findFormat(input);
    Format const* const format = known ? known : findFileFormat();
    if (!format) throw std::runtime_error(input + ": is of no format that this quivo reads");
    if (!format->open) {
        throw std::runtime_error(input + ": this quivo was built without " +
                                 std::string(format->name));
    }
    return format->open(input, options);
}

}  // namespace Quivo

#pragma once

/// \file
/// What kinds of images there are and how one is opened by its name alone: one table, in which
/// every format says what its files are called and how they begin. A format that this build lacks
/// is in the table all the same, so that it can be named when it is asked for. Any thread.

#include <quivo/core/Export.h>
#include <quivo/image/Image.h>
#include <quivo/tiles/OpenOptions.h>
#include <quivo/writer/ImageWriter.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Quivo {

/// One kind of images. Plain value; what it points to lives as long as the program.
struct Format {
    std::string_view name;                       ///< for people: "TIFF"
    std::span<std::string_view const> suffixes;  ///< of its files, in small letters: ".tif"
    std::string_view prefix;                     ///< of its names where there is no file, or empty
    /// Whether a file that begins so (with `numSniffedBytes`, or all that it has) is of the format;
    /// null where there is no file.
    bool (*isBegin)(std::span<std::byte const> begin) noexcept;
    /// Opens a path, perhaps with selectors, or a name with its prefix; null when this build lacks
    /// the format.
    /// error: std::runtime_error, one line that starts with the name.
    std::unique_ptr<Image> (*open)(std::string const& input, OpenOptions const& options);
    /// Makes a writer of such files; null when there is none.
    std::unique_ptr<ImageWriter> (*create)();
};

/// How many bytes of a file tell its format.
inline constexpr std::size_t numSniffedBytes = 16;

/// All formats; those that are asked first stand first.
[[nodiscard]] QUIVO_API std::span<Format const> getFormats() noexcept;

/// The format whose files begin so; null when there is none.
[[nodiscard]] QUIVO_API Format const* findFormatOfBytes(std::span<std::byte const> begin) noexcept;

/// The format with the suffix of `path`, in any case of its letters; null when there is none.
[[nodiscard]] QUIVO_API Format const* findFormatOfPath(std::string_view path);

/// What an input names: a file, or a computed image, and what of it. Plain value.
struct InputName {
    std::string path;  ///< the input as far as it names the file
    /// What follows, each without its '#': "7" is page 7, "t=3" time 3, "indices" the class numbers
    /// instead of the colours of a palette.
    std::vector<std::string> selectors;
};

/// Takes "file.tif#7#indices" apart. What is the name of an existing file or folder is that one,
/// whatever its name has in it; otherwise the path is the longest beginning before a '#' that names
/// an existing file. Without one the path is all of it.
[[nodiscard]] QUIVO_API InputName splitInputName(std::string const& input);

/// The format of what `input` names, selectors aside: by its prefix, by how the file begins, or,
/// where that does not tell, by its suffix. Null when nothing tells. Only regular files are looked
/// into: what a pipe gives, it gives once.
[[nodiscard]] QUIVO_API Format const* findFormat(std::string const& input);

/// Opens an image, or what `splitInputName` finds selected of it. What no format knows is left to
/// the first of those with files, which says best what is wrong with it. error: std::runtime_error,
/// one line that starts with `input`, when it cannot be opened, or when this build lacks the
/// format.
[[nodiscard]] QUIVO_API std::unique_ptr<Image> openImage(std::string const& input,
                                                         OpenOptions const& options = {});

}  // namespace Quivo

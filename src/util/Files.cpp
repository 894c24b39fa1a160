#include <quivo/util/Files.h>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace Quivo {

namespace {

template <typename Stream>
void openStream(Stream& stream, std::string const& path, std::ios_base::openmode mode) {
    bool const wasOpen = stream.is_open();
    errno = 0;
    try {
        stream.open(path, mode);
    } catch (std::ios_base::failure const&) {  // a stream that throws says less than we do
    }
    if (!stream.fail()) return;
    // The stream refuses a second file, or a mode that means nothing, without asking the platform.
    int const reason = errno != 0 ? errno : wasOpen ? EBUSY : EINVAL;
    throw std::runtime_error(std::generic_category().message(reason));
}

constexpr ::mode_t allPermissions = 0777;

constexpr std::uint32_t firstHighSurrogate = 0xD800;
constexpr std::uint32_t firstLowSurrogate = 0xDC00;
constexpr std::uint32_t lastSurrogate = 0xDFFF;

bool isSurrogate(std::uint32_t unit) { return unit >= firstHighSurrogate && unit <= lastSurrogate; }

/// The number of bytes that a well-formed sequence takes for a code point (RFC 3629).
std::size_t utf8Length(std::uint32_t codePoint) {
    return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

void appendUtf8(std::string& text, std::uint32_t codePoint) {
    static constexpr std::uint32_t leadMarks[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    auto const length = utf8Length(codePoint);
    text += static_cast<char>(leadMarks[length] | codePoint >> 6 * (length - 1));
    for (auto rest = length - 1; rest-- > 0;) {
        text += static_cast<char>(0x80 | ((codePoint >> 6 * rest) & 0x3F));
    }
}

/// The code point that begins at `position`, which moves past it.
std::uint32_t readUtf8(std::string const& text, std::size_t& position) {
    auto const malformed = [] { return std::range_error("malformed UTF-8"); };
    auto const byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    std::uint32_t const lead = byteAt(position);
    std::size_t const length = lead < 0x80             ? 1
                               : (lead & 0xE0) == 0xC0 ? 2
                               : (lead & 0xF0) == 0xE0 ? 3
                               : (lead & 0xF8) == 0xF0 ? 4
                                                       : 0;
    if (length == 0 || length > text.size() - position) throw malformed();
    std::uint32_t codePoint = length == 1 ? lead : lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        std::uint32_t const byte = byteAt(position + i);
        if ((byte & 0xC0) != 0x80) throw malformed();
        codePoint = codePoint << 6 | (byte & 0x3F);
    }
    bool const isOverlong = utf8Length(codePoint) != length;
    if (isOverlong || isSurrogate(codePoint) || codePoint > 0x10FFFF) throw malformed();
    position += length;
    return codePoint;
}

}  // namespace

std::FILE* fopen_utf8(std::string const& path, std::string const& mode) {
    return std::fopen(path.c_str(), mode.c_str());
}

void fstream_open_utf8(std::fstream& stream, std::string const& path,
                       std::ios_base::openmode mode) {
    openStream(stream, path, mode);
}

void ifstream_open_utf8(std::ifstream& stream, std::string const& path,
                        std::ios_base::openmode mode) {
    openStream(stream, path, mode | std::ios_base::in);
}

void ofstream_open_utf8(std::ofstream& stream, std::string const& path,
                        std::ios_base::openmode mode) {
    openStream(stream, path, mode | std::ios_base::out);
}

bool removeFile(std::string const& path) { return std::remove(path.c_str()) == 0; }

bool fileExists(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool isDirectory(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makeDirectory(std::string const& path) {
    return ::mkdir(path.c_str(), allPermissions) == 0 || errno == EEXIST;
}

bool removeDirectory(std::string const& path) { return ::rmdir(path.c_str()) == 0; }

void removeEmptyDirectory(std::string const& path) { removeDirectory(path); }

bool makeDirectoryAndParents(std::string const& path) {
    // Whether a parent could be made shows in what comes after it.
    for (std::size_t p = path.find_first_of("/\\"); p != std::string::npos;
         p = path.find_first_of("/\\", p + 1)) {
        makeDirectory(path.substr(0, p));
    }
    return makeDirectory(path);
}

void getFilesInDir(std::vector<std::string>& files, std::string const& directory,
                   bool includeDirectories) {
    files.clear();
    std::unique_ptr<DIR, int (*)(DIR*)> const entries(::opendir(directory.c_str()), ::closedir);
    if (!entries) return;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): each thread reads a directory of its own
    while (dirent const* const entry = ::readdir(entries.get())) {
        std::string name = entry->d_name;
        if (!includeDirectories && isDirectory((directory + "/").append(name))) continue;
        files.push_back(std::move(name));
    }
}

// NOLINTBEGIN(bugprone-signed-char-misuse,cert-str34-c): a wchar_t has no sign to lose
std::string convertFromUtf16ToUtf8(std::wstring const& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto codePoint = static_cast<std::uint32_t>(text[i]);
        if (codePoint >= firstHighSurrogate && codePoint < firstLowSurrogate &&
            i + 1 < text.size()) {
            auto const low = static_cast<std::uint32_t>(text[i + 1]);
            if (low >= firstLowSurrogate && low <= lastSurrogate) {
                codePoint =
                    0x10000 + ((codePoint - firstHighSurrogate) << 10) + (low - firstLowSurrogate);
                ++i;
                appendUtf8(result, codePoint);
                continue;
            }
        }
        if (isSurrogate(codePoint) || codePoint > 0xFFFF) {
            throw std::range_error("malformed UTF-16");
        }
        appendUtf8(result, codePoint);
    }
    return result;
}
// NOLINTEND(bugprone-signed-char-misuse,cert-str34-c)

std::wstring convertFromUtf8ToUtf16(std::string const& text) {
    std::wstring result;
    for (std::size_t position = 0; position < text.size();) {
        std::uint32_t const codePoint = readUtf8(text, position);
        if (codePoint < 0x10000) {
            result += static_cast<wchar_t>(codePoint);
        } else {
            result += static_cast<wchar_t>(firstHighSurrogate + ((codePoint - 0x10000) >> 10));
            result += static_cast<wchar_t>(firstLowSurrogate + (codePoint & 0x3FF));
        }
    }
    return result;
}

}  // namespace Quivo

#pragma once

#include <quivo/chains/ReadPlan.h>
#include <quivo/image/Image.h>
#include <quivo/samples/SampleType.h>
#include <quivo/util/DamageLog.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quivo::tool {

/// What every subcommand's help says about INPUT.
inline constexpr char const* inputHelp =
    "a TIFF file, or a part of one: file.tif#7 (page 7), #t=2 (time 2), #c=DAPI (a channel), #z=4 "
    "(slice 4); or mandelbrot:WIDTHxHEIGHT for a computed image of that size";

/// How inputs are opened: the options --strict, --indices and --damaged.
struct OpeningOptions {
    bool isStrict = false;
    bool wantsIndices = false;
    bool fillsDamage = false;

    /// Adds the options to `app`; this object outlives the parse.
    void addTo(CLI::App& app);
    /// --damaged, for subcommands to which every pixel matters.
    void addDamagedTo(CLI::App& app);
};

/// The image that INPUT names, and how it is best read. One thread at a time.
class Input {
public:
    /// error: std::runtime_error, one line that starts with `name`, when it cannot be opened.
    explicit Input(std::string const& name, OpeningOptions const& options = {});

    [[nodiscard]] std::string const& getName() const noexcept { return name_; }

    [[nodiscard]] Image& getImage() const noexcept { return *image_; }

    /// The image of which the other one is a channel or a slice, where the name asks for one.
    [[nodiscard]] Image& getSource() const noexcept { return *parts_.front(); }

    [[nodiscard]] ReadPlan const& getPlan() const noexcept { return *plan_; }

    /// The type of the samples as they are stored; nothing for a computed image.
    [[nodiscard]] std::optional<SampleType> getStoredType() const;

    /// The same; where there is none, the one that holds the value range.
    [[nodiscard]] SampleType getSampleType() const;

    /// error: std::runtime_error when `level` or `slice` does not exist; the message tells the
    /// valid ones.
    void checkLevel(long long level) const;
    void checkSlice(long long slice) const;

    /// error: std::runtime_error when `output` is the file that is being read, under whatever name.
    void checkIsNot(std::string const& output) const;

    /// The damaged blocks that were filled so far.
    [[nodiscard]] DamageLog const& getDamage() const noexcept { return *damage_; }

private:
    void choosePart(std::string const& selector);

    std::string name_;
    std::string path_;  ///< the name without what selects a part
    std::shared_ptr<DamageLog> damage_ = std::make_shared<DamageLog>();
    std::vector<std::unique_ptr<Image>> parts_;  ///< each made of the one before
    Image* image_ = nullptr;                     ///< the last of them
    std::unique_ptr<ReadPlan> plan_;
};

/// "3 damaged tiles were filled (first: ...)"; empty when there was none.
[[nodiscard]] std::string describeDamage(DamageLog const& damage);

}  // namespace Quivo::tool

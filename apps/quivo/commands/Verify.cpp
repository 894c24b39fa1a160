#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"
#include "terminal/Interrupt.h"
#include "terminal/ProgressBar.h"
#include "work/Bands.h"
#include "work/Comparison.h"
#include "work/LevelCheck.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/chains/Text.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/image/StoredContents.h>
#include <quivo/samples/ReadSamples.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Quivo::tool {

namespace {

struct VerifyOptions {
    std::string file;
    std::string against;
    OpeningOptions opening;
    bool quiet = false;
};

/// What is found, printed line by line.
class Findings {
public:
    Findings(VerifyOptions const& options, ProgressBar& progress)
        : options_(options), progress_(progress) {}

    void add(std::string const& text) {
        print(text);
        ++count_;
    }

    /// Something to know that is no fault.
    void note(std::string const& text) {
        if (!options_.quiet) print("note: " + text);
    }

    [[nodiscard]] int getCount() const noexcept { return count_; }

private:
    void print(std::string const& text) {
        progress_.hide();
        std::cout << toLine(options_.file + ": " + text) << std::endl;
    }

    VerifyOptions const& options_;
    ProgressBar& progress_;
    int count_ = 0;
};

/// Whether the file may not hold exactly what was written to it.
bool isLossy(Input const& input) {
    auto const* const contents = dynamic_cast<StoredContents const*>(&input.getSource());
    if (!contents) return false;
    static constexpr std::array<std::string_view, 6> codecs{"JPEG",   "WebP",  "LERC",
                                                            "LogLuv", "YCbCr", "logarithmic"};
    auto const facts = contents->getFacts();
    return std::any_of(facts.begin(), facts.end(), [](auto const& fact) {
        bool const tells = fact.first == "compression" || fact.first == "stored colours";
        return tells && std::any_of(codecs.begin(), codecs.end(), [&](std::string_view codec) {
                   return fact.second.find(codec) != std::string::npos;
               });
    });
}

/// Decodes all of a level, to see whether that works.
void decode(Input const& input, long long level, ProgressMonitor& progress) {
    Image& image = input.getImage();
    long long const numChannels = image.getNumChannels();
    SampleType const type = input.getStoredType().value_or(SampleType::F64);
    PiecewiseFilter pieces(&image, ReadPlan::choosePieceExtent(numChannels), false);
    std::vector<std::byte> values;
    long long const pixelBytes = numChannels * getSampleBytes(type);
    forEachBand(Box(image.getExtent(level)), pixelBytes, [&](Box const& band) {
        auto const numBytes = static_cast<std::size_t>(band.getSize() * pixelBytes);
        if (values.size() < numBytes) values.resize(numBytes);
        readSamples(pieces, values.data(), type, level, band, {});
        progress.increase(band.getSize());
    });
}

/// A level above 0, beside the means of the finer one.
void verifyLevel(Input const& input, Input const& finer, long long level, Findings& findings,
                 ProgressMonitor& progress) {
    auto const damageBefore = input.getDamage().getCount();
    auto const finerBefore = finer.getDamage().getCount();
    LevelCheck const check = checkLevel(input, finer, level, progress);
    Difference const& difference = check.difference;
    std::string const name = "level " + std::to_string(level) + ": ";
    SampleType const type = input.getStoredType().value_or(SampleType::F64);
    if (difference.numDifferent == 0 || input.getDamage().getCount() > damageBefore ||
        finer.getDamage().getCount() > finerBefore) {
        return;
    }
    if (check.isOtherPicture()) {
        findings.add(name + "does not show what level " + std::to_string(level - 1) +
                     " shows: " + difference.describe(type));
    } else if (check.isOwnRule() && !isLossy(input)) {
        findings.add(name + "is not the mean of level " + std::to_string(level - 1) + ": " +
                     difference.describe(type));
    } else {
        findings.note(name + "was made by another rule or changed by its compression: " +
                      difference.describe(type));
    }
}

void verifyAgainst(Input const& input, std::string const& name, VerifyOptions const& options,
                   Findings& findings, ProgressMonitor& progress) {
    Input const source(name, options.opening);
    Comparison const comparison = compareValues(input, source, progress);
    for (std::string const& obstacle : comparison.obstacles) findings.add(obstacle);
    for (std::size_t c = 0; c < comparison.channels.size(); ++c) {
        Difference const& difference = comparison.channels[c];
        if (difference.numDifferent == 0) continue;
        std::string const text = "channel " +
                                 nameChannel(input.getImage(), static_cast<long long>(c)) +
                                 " against " + name + ": " + difference.describe(comparison.type);
        if (isLossy(input)) {
            findings.note(text);
        } else {
            findings.add(text);
        }
    }
    if (comparison.areEqual()) findings.note("level 0 is equal to " + name);
}

std::string plural(long long count, std::string const& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void runVerify(VerifyOptions const& options, Ending& ending) {
    Interrupt interrupt;
    OpeningOptions filling = options.opening;
    filling.fillsDamage = true;  // so that it can be counted
    Input const input(options.file, filling), finer(options.file, filling);
    Image const& image = input.getImage();
    ProgressBar progress(
        options.quiet ? ProgressBar::Style::Quiet : ProgressBar::Style::WhenItLasts, 1);
    Findings findings(options, progress);
    std::vector<long long> levels{0};
    long long numPixels = image.getExtent(0).prod();
    for (long long level = 1; level < image.getNumLevels(); ++level) {
        if (!input.getPlan().isLevelStored(level)) continue;
        levels.push_back(level);
        numPixels += 5 * image.getExtent(level).prod();
    }
    progress.setMaxValue(numPixels);
    for (long long const level : levels) {
        auto const before = input.getDamage().getCount();
        if (level == 0) {
            decode(input, 0, progress);
        } else {
            verifyLevel(input, finer, level, findings, progress);
        }
        auto const count = static_cast<long long>(input.getDamage().getCount() - before);
        if (count == 0) continue;
        findings.add("level " + std::to_string(level) + ": " + plural(count, "damaged tile") +
                     (before == 0 ? " (first: " + input.getDamage().getFirstMessage() + ")" : ""));
    }
    if (!options.against.empty()) {
        verifyAgainst(input, options.against, options, findings, progress);
    }
    progress.hide();
    ending.status = findings.getCount() == 0 ? Success : Failure;
    if (options.quiet) return;
    std::cout << toLine(
                     options.file + ": " + plural(std::ssize(levels), "stored level") + ", " +
                     plural(image.getExtent(0).z, "slice") + ", " +
                     plural(image.getNumChannels(), "channel") + ": " +
                     (findings.getCount() == 0 ? "sound" : plural(findings.getCount(), "finding")))
              << '\n';
}

}  // namespace

void addVerifyCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command =
        app.add_subcommand("verify", "Decode all of a file and check its levels");
    auto const options = std::make_shared<VerifyOptions>();
    addPath(*command, "FILE", &options->file, inputHelp)->required();
    addPath(*command, "--against", &options->against,
            "the image that level 0 must be equal to; after a lossy compression, how far it is")
        ->type_name("INPUT");
    options->opening.addTo(*command);
    command->add_flag("--quiet", options->quiet, "print nothing but what is wrong");
    command->footer(
        "Every finding is a line, and the status is 1 then. Levels that were made by another rule "
        "than this program's are noted, and are no finding.\n"
        "Example: quivo verify pyramid.tif --against scan.tif");
    command->callback([options, &ending] { runVerify(*options, ending); });
}

}  // namespace Quivo::tool

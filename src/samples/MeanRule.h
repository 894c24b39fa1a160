#pragma once

// How the levels of an image are averaged, as far as what its numbers mean decides that: 2 x 2
// means of whole rows, for those who compute levels from files and for those who write them.

#include <quivo/metadata/Metadata.h>

#include "kernels/WeighedMean.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace Quivo::detail {

/// Which samples count in a mean, and how much. Without anything set all count alike.
///
/// Samples of colours (all channels that are not opacity) that are `noData` are left out; a block
/// of nothing else becomes `noData`. Where an unassociated opacity is not the same all over a
/// block, it weighs the colours. Opacity itself is averaged plainly. Plain value.
struct MeanRule {
    std::optional<double> noData;
    long long alphaChannel = -1;     ///< the unassociated opacity; -1 when there is none
    std::vector<long long> colours;  ///< the channels that are not opacity
    bool areClasses = false;         ///< colours are numbers of things: the most frequent counts

    /// Whether all samples count alike.
    [[nodiscard]] bool isPlain() const noexcept {
        return !noData && alphaChannel < 0 && !areClasses;
    }

    /// Whether opacity has a say in the means of a channel.
    [[nodiscard]] bool isWeighed(long long channel) const noexcept {
        return alphaChannel >= 0 && isColour(channel);
    }

    [[nodiscard]] bool isColour(long long channel) const noexcept {
        return std::find(colours.begin(), colours.end(), channel) != colours.end();
    }
};

[[nodiscard]] inline MeanRule makeMeanRule(Metadata const& metadata) {
    MeanRule rule;
    rule.noData = metadata.noData;
    rule.areClasses = metadata.colourModel == ColourModel::Classes;
    for (long long c = 0; c < std::ssize(metadata.channels); ++c) {
        auto const alpha = metadata.channels[static_cast<std::size_t>(c)].alpha;
        if (alpha == AlphaKind::None) {
            rule.colours.push_back(c);
        } else if (alpha == AlphaKind::Unassociated && rule.alphaChannel < 0) {
            rule.alphaChannel = c;
        }
    }
    if (rule.colours.empty()) rule.alphaChannel = -1;
    return rule;
}

/// Halves rows of samples of type T by a rule, which outlives it. Rows, or parts of them, where all
/// samples count alike take `halveRows`, which gives the same. Plain value.
template <typename T>
class RowHalver {
public:
    explicit RowHalver(MeanRule const& rule) noexcept
        : rule_(rule), means_{toComparable<T>(rule.noData), rule.areClasses} {}

    /// As `halveRows`: two rows of pixels with `numChannels` interleaved samples each, of which
    /// there are as many as in the rule's image.
    void halvePixels(T const* upper, T const* lower, T* dst, long long count,
                     long long numChannels) const noexcept {
        if (isPlain()) return halveRows(upper, lower, dst, count, numChannels);
        forEachRun(count, [&](long long first, long long now) {
            T const* const above = upper + 2 * first * numChannels;
            T const* const below = lower + 2 * first * numChannels;
            T* const out = dst + first * numChannels;
            halveRows(above, below, out, now, numChannels);
            RowPair<T> const opacity{above + rule_.alphaChannel, below + rule_.alphaChannel,
                                     numChannels};
            bool const isWeighed = rule_.alphaChannel >= 0 &&
                                   differs(above, below, rule_.alphaChannel, 2 * now, numChannels);
            if (!isWeighed && !needsCare(above, below, 2 * now * numChannels)) return;
            for (long long const c : rule_.colours) {
                halveByMeans<T>(means_, {above + c, below + c, numChannels},
                                isWeighed ? &opacity : nullptr, out + c, now);
            }
        });
    }

    /// Two rows of one channel alone. `opacity` has the rows of opacity over them, and is used only
    /// where the rule weighs the channel.
    void halvePlane(long long channel, T const* upper, T const* lower, RowPair<T> const& opacity,
                    T* dst, long long count) const noexcept {
        if (isPlain() || !rule_.isColour(channel)) return halveRows(upper, lower, dst, count, 1);
        forEachRun(count, [&](long long first, long long now) {
            T const* const above = upper + 2 * first;
            T const* const below = lower + 2 * first;
            RowPair<T> const part{opacity.upper + 2 * first, opacity.lower + 2 * first, 1};
            bool const isWeighed =
                rule_.alphaChannel >= 0 && differs(part.upper, part.lower, 0, 2 * now, 1);
            if (isWeighed || needsCare(above, below, 2 * now)) {
                halveByMeans<T>(means_, {above, below, 1}, isWeighed ? &part : nullptr, dst + first,
                                now);
            } else {
                halveRows(above, below, dst + first, now, 1);
            }
        });
    }

private:
    /// Short, so that few blocks are taken one by one for the sake of one among them, and that what
    /// is looked at is still near.
    template <typename Visit>
    static void forEachRun(long long count, Visit visit) {
        constexpr long long run = 256;
        for (long long first = 0; first < count; first += run) {
            visit(first, std::min(run, count - first));
        }
    }

    /// Whether a channel is not the same all over two rows of pixels.
    static bool differs(T const* upper, T const* lower, long long channel, long long count,
                        long long numChannels) noexcept {
        bool result = false;
        differsFrom(upper, lower, channel, count, numChannels, upper[channel], &result);
        return result;
    }

    [[nodiscard]] bool isPlain() const noexcept {
        return !means_.noData && rule_.alphaChannel < 0 && !means_.areClasses;
    }

    /// Whether rows of so many samples have some that count as none, or no means at all.
    [[nodiscard]] bool needsCare(T const* upper, T const* lower, long long count) const noexcept {
        if (means_.areClasses || !means_.noData) return means_.areClasses;
        bool result = false;
        containsValue(upper, lower, count, *means_.noData, &result);
        return result;
    }

    MeanRule const& rule_;
    SampleMeans<T> means_;
};

}  // namespace Quivo::detail

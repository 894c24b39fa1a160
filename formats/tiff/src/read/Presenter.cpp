#include "read/Presenter.h"

#include "read/SampleUnpacking.h"
#include "samples/Samples.h"

#include <algorithm>
#include <type_traits>

namespace Quivo::detail {

Presenter::Presenter(PageInfo const& page, Block& block) : page_(page), block_(block) {}

void Presenter::store(std::byte const* src, long long srcWidth, long long plane, long long y,
                      long long height) {
    visitSampleType(page_.storedType, [&](auto sample) {
        using T = decltype(sample);
        if (page_.packing == Packing::None) {
            present(reinterpret_cast<T const*>(src), srcWidth, plane, y, height);
            return;
        }
        auto const count = block_.width * page_.getSamplesPerPlane();
        row_.resize(static_cast<std::size_t>(count) * sizeof(T));
        auto* const samples = reinterpret_cast<T*>(row_.data());
        for (long long row = 0; row < height; ++row) {
            unpack(src + row * page_.getDecodedRowBytes(srcWidth), count, samples);
            present(samples, block_.width, plane, y + row, 1);
        }
    });
}

template <typename T>
void Presenter::unpack(std::byte const* src, long long count, T* dst) const {
    if constexpr (std::is_integral_v<T>) {
        if constexpr (sizeof(T) == 4) {
            if (page_.packing == Packing::Bytes3) return unpackBytes3(src, dst, count);
        }
        unpackBits(src, dst, count, static_cast<int>(page_.bits));
    } else if constexpr (std::is_same_v<T, float>) {
        unpackFloat24(src, dst, count);
    }
}

template <typename T>
T Presenter::getFill() const {
    double const value = page_.fill.value_or(0.0);
    if constexpr (!isFloat<T>) {
        // Not beyond what the bits hold, and so no index without an entry in the palette. The ends
        // of whole types are left to the conversion: as doubles they may be past it.
        if (page_.bits < 8LL * static_cast<long long>(sizeof(T))) {
            double const highest = static_cast<double>(
                (std::uint64_t{1} << (page_.bits - (std::is_signed_v<T> ? 1 : 0))) - 1);
            double const lowest = std::is_signed_v<T> ? -highest - 1 : 0.0;
            if (value == value) return toSample<T>(std::clamp(value, lowest, highest));
        }
    }
    return toSample<T>(value);
}

void Presenter::storeFill(long long plane, long long y, long long height) {
    auto* const bytes = block_.samples.data();
    if (page_.presentation == Presentation::Converted) {
        for (long long c = 0; c < page_.getNumOwnChannels(); ++c) {
            auto* const rows =
                reinterpret_cast<std::uint8_t*>(bytes) + (c * block_.height + y) * block_.width;
            std::fill_n(rows, height * block_.width,
                        toSample<std::uint8_t>(page_.fill.value_or(0)));
        }
        return;
    }
    visitSampleType(page_.storedType, [&](auto sample) {
        using T = decltype(sample);
        std::vector<T> const row(
            static_cast<std::size_t>(block_.width * page_.getSamplesPerPlane()), getFill<T>());
        for (long long i = 0; i < height; ++i) present(row.data(), block_.width, plane, y + i, 1);
    });
}

void Presenter::storeFill() {
    auto const numPlanes = page_.isDecodedByPlane() ? 1 : page_.getNumPlanes();
    for (long long plane = 0; plane < numPlanes; ++plane) storeFill(plane, 0, block_.height);
}

template <typename T>
void Presenter::present(T const* pixels, long long stride, long long plane, long long y,
                        long long height) {
    if (page_.presentation == Presentation::Palette) {
        if constexpr (std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::uint16_t>) {
            if (plane == 0) presentIndices(pixels, stride, y, height);
            // Behind the colours come the samples behind the index.
            if (plane > 0)
                presentExtras(pixels, stride, plane + 2, 0, y, height);
            else if (!page_.isSeparate)
                presentExtras(pixels, stride, 3, 1, y, height);
        }
        return;
    }
    auto const numSamples = page_.getSamplesPerPlane();
    auto const planeSize = block_.width * block_.height;
    auto const firstChannel = page_.isDecodedByPlane() ? 0 : plane * numSamples;
    T* out =
        reinterpret_cast<T*>(block_.samples.data()) + firstChannel * planeSize + y * block_.width;
    bool const isTurnedOver = page_.presentation == Presentation::Inverted && plane == 0;
    for (long long row = 0; row < height; ++row, out += block_.width) {
        separateRow(pixels + row * stride * numSamples, out, planeSize, block_.width, numSamples);
        if (isTurnedOver) turnOver(out);
    }
}

template <typename T>
void Presenter::turnOver(T* row) const {
    if constexpr (isFloat<T>) {
        for (long long x = 0; x < block_.width; ++x) {
            row[x] = static_cast<T>(page_.valueRange.min + page_.valueRange.max -
                                    static_cast<double>(row[x]));
        }
    } else {
        // Highest - value for either signedness.
        using Raw = std::make_unsigned_t<T>;
        constexpr int width = 8 * static_cast<int>(sizeof(T));
        auto all = static_cast<Raw>(~Raw{0});
        if (std::is_unsigned_v<T>) all = static_cast<Raw>(all >> (width - page_.bits));
        for (long long x = 0; x < block_.width; ++x) row[x] = static_cast<T>(row[x] ^ all);
    }
}

template <typename T>
void Presenter::presentIndices(T const* pixels, long long stride, long long y, long long height) {
    auto* const planes = reinterpret_cast<std::uint8_t*>(block_.samples.data());
    auto const numSamples = page_.getSamplesPerPlane();
    auto const& palette = *page_.palette;
    for (long long c = 0; c < 3; ++c) {
        std::uint8_t* out = planes + (c * block_.height + y) * block_.width;
        for (long long row = 0; row < height; ++row, out += block_.width) {
            for (long long x = 0; x < block_.width; ++x) {
                auto const index =
                    static_cast<std::size_t>(pixels[(row * stride + x) * numSamples]);
                out[x] = palette[3 * index + static_cast<std::size_t>(c)];
            }
        }
    }
}

template <typename T>
void Presenter::presentExtras(T const* pixels, long long stride, long long firstChannel,
                              long long firstSample, long long y, long long height) {
    auto* const planes = reinterpret_cast<std::uint8_t*>(block_.samples.data());
    auto const numSamples = page_.getSamplesPerPlane();
    auto const highest = (1U << page_.bits) - 1;
    for (auto sample = firstSample; sample < numSamples; ++sample) {
        auto const channel = firstChannel + sample - firstSample;
        // Opacity is full where colours of 8 bits are; of what is wider, the upper bits are shown.
        bool const isOpacity = page_.opacity.contains(channel);
        for (long long row = 0; row < height; ++row) {
            auto* const out = planes + (channel * block_.height + y + row) * block_.width;
            for (long long x = 0; x < block_.width; ++x) {
                unsigned const value = pixels[(row * stride + x) * numSamples + sample];
                unsigned const shown = isOpacity        ? (value * 255 + highest / 2) / highest
                                       : page_.bits > 8 ? value >> (page_.bits - 8)
                                                        : value;
                out[x] = static_cast<std::uint8_t>(shown);
            }
        }
    }
}

}  // namespace Quivo::detail

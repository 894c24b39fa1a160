#pragma once

// Reading and comparing blocks of voxels: boxes at random, memory with guards around it, and the
// slowest, most obvious way to fill a region.

#include <quivo/core/Box.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo {

// Found by GoogleTest when it prints a failure.
inline void PrintTo(Vector const& v, std::ostream* out) {
    *out << '(' << Vector(v).toString() << ')';
}
inline void PrintTo(Box const& box, std::ostream* out) {
    *out << ::testing::PrintToString(box.min) << "..." << ::testing::PrintToString(box.max);
}

}  // namespace Quivo

namespace Quivo::Testing {

using Values = std::vector<double>;

/// Boxes with both corners inside `around`, in reproducible disorder; one in eight is turned inside
/// out on some axes.
class RandomBoxes {
public:
    explicit RandomBoxes(Box const& around) : around_(around) {}

    Box next() {
        Box box;
        bool const inverts = random_() % 8 == 0;
        for (int axis = 0; axis < 3; ++axis) {
            std::uniform_int_distribution<long long> draw(around_.min[axis], around_.max[axis]);
            long long const a = draw(random_), b = draw(random_);
            bool const swaps = (a > b) != (inverts && random_() % 2 == 0);
            box.min[axis] = swaps ? b : a;
            box.max[axis] = swaps ? a : b;
        }
        return box;
    }

private:
    std::mt19937 random_{7};
    Box around_;
};

/// Elements between two guard zones. All of them start with a value that no test expects.
template <typename T = double>
struct GuardedBlock {
    static constexpr std::ptrdiff_t margin = 64;
    static constexpr T untouched = static_cast<T>(211);
    std::vector<T> elements;

    explicit GuardedBlock(long long count)
        : elements(static_cast<std::size_t>(count + 2 * margin), untouched) {}
    explicit GuardedBlock(std::vector<T> const& contents) : GuardedBlock(std::ssize(contents)) {
        std::copy(contents.begin(), contents.end(), data());
    }
    T* data() { return elements.data() + margin; }

    /// The elements between the guards; checks that the guards are whole.
    std::vector<T> take() const {
        auto const first = elements.begin() + margin, last = elements.end() - margin;
        EXPECT_EQ(std::count(elements.begin(), first, untouched), margin) << "written before dst";
        EXPECT_EQ(std::count(last, elements.end(), untouched), margin) << "written past the end";
        return {first, last};
    }
};

/// What `image.openRegion` delivers, for everything that has one.
template <typename Readable>
Values read(Readable& image, long long level, Box const& region) {
    GuardedBlock dst(image.getNumChannels() * region.getSize());
    image.openRegion(dst.data(), level, region);
    return dst.take();
}

/// `valueOf(channel, position)` for all channels of a region, in the order of the planar layout.
template <typename ValueOf>
auto pixelByPixel(long long numChannels, Box const& region, ValueOf valueOf) {
    std::vector<decltype(valueOf(0LL, Vector()))> values;
    Vector p;
    for (long long c = 0; c < numChannels; ++c)
        for (p.z = region.min.z; p.z <= region.max.z; ++p.z)
            for (p.y = region.min.y; p.y <= region.max.y; ++p.y)
                for (p.x = region.min.x; p.x <= region.max.x; ++p.x)
                    values.push_back(valueOf(c, p));
    return values;
}

/// The values of `piece` among those of `whole`, around it.
inline Values pieceOf(Values const& all, Box const& whole, Box const& piece) {
    Vector const e = whole.getExtent();
    return pixelByPixel(std::ssize(all) / e.prod(), piece, [&](long long c, Vector const& p) {
        Vector const at = p - whole.min + Vector(0, 0, c * e.z);
        return all[static_cast<std::size_t>(at.dot(e.getStrides()))];
    });
}

inline void expectNear(Values const& actual, Values const& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_NEAR(actual[i], expected[i], 1e-12) << i;
}

/// A value in [-1, 1) that looks random but depends on nothing but channel and position.
inline double noiseAt(long long c, Vector const& p) {
    auto const mixed = static_cast<unsigned>(p.dot({7919, 104729, 1299709}) + c * 15485863);
    return static_cast<double>(mixed * 2654435761U % 65536U) / 32768.0 - 1.0;
}

/// The text of the std::runtime_error that `action` throws; empty when it throws none.
template <typename Action>
std::string errorOf(Action action) {
    try {
        action();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return {};
}

}  // namespace Quivo::Testing

#pragma once

// What all fuzz targets share. A target is one function, LLVMFuzzerTestOneInput, which ends the
// process when a promise is broken. libFuzzer calls it with inputs that it finds, Replay.cpp with
// those that are kept.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace Quivo::Fuzzing {

/// Ends the process with `message` when a promise is broken.
inline void require(bool kept, std::string const& message) {
    if (kept) return;
    std::fprintf(stderr, "broken promise: %s\n", message.c_str());
    std::abort();
}

/// The bytes of an input, taken from the front one choice at a time. Where they are used up every
/// choice is its lowest, so that short inputs mean simple things.
class Choices {
public:
    Choices(std::uint8_t const* data, std::size_t size) noexcept : next_(data), left_(size) {}

    [[nodiscard]] bool isEmpty() const noexcept { return left_ == 0; }

    /// A number from `lowest` to `highest`: one byte where that is enough, otherwise eight.
    long long integer(long long lowest, long long highest) noexcept {
        auto const span =
            static_cast<std::uint64_t>(highest) - static_cast<std::uint64_t>(lowest) + 1;
        std::uint64_t value = 0;
        for (int i = 0; i < (span != 0 && span <= 256 ? 1 : 8); ++i) value = value << 8 | byte();
        return static_cast<long long>(static_cast<std::uint64_t>(lowest) +
                                      (span == 0 ? value : value % span));
    }

    bool flag() noexcept { return byte() % 2 == 1; }

    /// Any double: infinities and all that is no number included.
    double real() noexcept {
        auto const bits = integer(INT64_MIN, INT64_MAX);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    /// Up to `longest` bytes (at most 255), or fewer when so few are left.
    std::string text(long long longest) {
        auto const wanted = static_cast<std::size_t>(integer(0, longest));
        std::string result(reinterpret_cast<char const*>(next_), std::min(wanted, left_));
        next_ += result.size();
        left_ -= result.size();
        return result;
    }

    /// All that is left.
    std::string rest() {
        std::string result(reinterpret_cast<char const*>(next_), left_);
        left_ = 0;
        return result;
    }

private:
    std::uint8_t byte() noexcept {
        if (left_ == 0) return 0;
        --left_;
        return *next_++;
    }

    std::uint8_t const* next_;
    std::size_t left_;
};

}  // namespace Quivo::Fuzzing

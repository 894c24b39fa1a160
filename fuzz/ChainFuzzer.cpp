// Random chains of images, read in random regions at random levels: what comes out is what the slow
// reference says, to the bit, or to 1e-12 behind a filter that shrinks by any factor.

#include "Fuzz.h"
#include "Reference.h"

#include <quivo/Quivo.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <vector>

namespace Quivo::Fuzzing {

namespace {

/// A tile source of one's own, as its documentation tells to write one.
class FormulaTiles : public TileImage {
public:
    FormulaTiles(ReferencePtr reference, Vector const& tileExtent)
        : reference_(std::move(reference)), tileExtent_(tileExtent) {}

    std::string getURL() const override { return "formula:"; }
    Vector getExtent(long long level) const override { return reference_->getExtent(level); }
    long long getNumChannels() const override { return reference_->numChannels; }
    long long getNumLevels() const override { return reference_->getNumLevels(); }
    ValueRange<double> getValueRange() const override { return reference_->range; }
    Vector getVoxelSize(long long level) const override { return {250 << level, 250 << level, 1}; }
    Vector getTileExtent() const override { return tileExtent_; }
    std::string getSliceName(long long) override { return {}; }
    std::string getChannelName(long long) override { return {}; }
    std::string getId() const override { return {}; }
    std::string getGroupId() const override { return {}; }
    ContentHash getHash() override { return 0; }
    Image* getViewableRepresentation() override { return displayView_.get(*this); }

    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override {
        require(tileRegion.isEmpty() || tileRegion.intersected(Box(tileExtent_)) == tileRegion,
                "a part of a tile lies in the tile");
        Values const values = reference_->read(level, tileRegion.translated(tilePosition));
        std::size_t next = 0;
        forEachPixel(getNumChannels(), tileRegion, [&](long long c, Vector const& p) {
            Vector const to = dstPosition + p - tileRegion.min;
            require(Box(dstExtent).contains(to), "a part of a tile lies in the destination");
            dst[c * dstExtent.prod() + to.dot(dstExtent.getStrides())] = values[next++];
        });
    }

private:
    ReferencePtr reference_;
    Vector tileExtent_;
    DisplayView displayView_;
};

/// A chain of images on one side, their references on the other.
class Chain {
public:
    explicit Chain(Choices& choices) : choices_(choices) {
        addSource();
        for (auto links = choices.integer(0, 5); links > 0; --links) addLink();
    }

    void check() {
        checkFacts();
        for (int reads = 0; reads < 8 && !choices_.isEmpty(); ++reads) checkRead();
        if (reference_->numChannels == 1) checkBank();
    }

private:
    // ---- making ------------------------------------------------------------------------------

    Vector chooseVector(long long lowest, long long width, long long height, long long depth) {
        auto const x = choices_.integer(lowest, width), y = choices_.integer(lowest, height);
        return {x, y, choices_.integer(lowest, depth)};
    }

    /// A number as images hold it, now and then one as they should not.
    double chooseValue() {
        switch (choices_.integer(0, 9)) {
            case 0:
                return choices_.real();
            case 1:
                return static_cast<double>(choices_.integer(-100, 100)) / 8;
            default:
                return static_cast<double>(choices_.integer(0, 255));
        }
    }

    ValueRange<double> chooseRange() {
        if (choices_.flag()) return {0.0, 255.0};
        auto const min = chooseValue();
        return {min, chooseValue()};
    }

    void addSource() {
        Vector const extent = chooseVector(choices_.flag() ? -1 : 1, 24, 20, 3);
        auto const numChannels = choices_.integer(0, 3);
        auto const kind = choices_.integer(0, 2);
        auto const range = chooseRange();
        // A few values, spread over the pixels by multiplication.
        Values palette(5);
        for (double& value : palette) value = chooseValue();
        auto const valueAt = [palette](long long level, long long c, Vector const& p) {
            auto const place = static_cast<std::size_t>(p.x * 7 + p.y * 11 + p.z * 5 + c * 3);
            auto const index = (place * place + static_cast<std::size_t>(level)) % palette.size();
            return palette[index] + static_cast<double>(place % 16);
        };
        if (kind == 2) {
            reference_ = makeFormula(extent, numChannels, choices_.integer(0, 5), range, valueAt);
            Vector const tile = chooseVector(1, 12, 12, 3);
            note("tiles", extent, numChannels, reference_->getNumLevels(), range, tile);
            push<FormulaTiles>(reference_, tile);
            return;
        }
        Values pixels;
        std::vector<unsigned char> bytes;
        forEachPixel(numChannels, Box(extent), [&](long long c, Vector const& p) {
            double const value = valueAt(0, c, p);
            pixels.push_back(value);
            bytes.push_back(value > 0 && value < 256 ? static_cast<unsigned char>(value) : 9);
        });
        if (kind == 1) pixels.assign(bytes.begin(), bytes.end());
        auto const valueOf = [pixels, extent](long long c, Vector const& p) {
            auto const row = (c * extent.z + p.z) * extent.y + p.y;
            return pixels[static_cast<std::size_t>(row * extent.x + p.x)];
        };
        reference_ = makeBuffer(extent, numChannels, range, valueOf);
        Vector const voxel(250, 250, 1000);
        note(kind == 1 ? "bytes" : "doubles", extent, numChannels, range);
        if (kind == 1) {
            push<BufferImage<unsigned char>>(bytes.data(), extent, numChannels, range, voxel);
        } else {
            push<BufferImage<double>>(pixels.data(), extent, numChannels, range, voxel);
        }
    }

    void addLink() {
        Image* const top = image_;
        switch (choices_.integer(0, 7)) {
            case 0: {
                Vector const tile = chooseVector(1, 12, 12, 3);
                auto const cacheSizeMB = choices_.integer(-1, 1);
                note("cache", cacheSizeMB, tile);
                push<CachedImage>(top, cacheSizeMB, tile, false);
                reference_ = makeCache(reference_, tile);
                break;
            }
            case 1: {
                double const scale = chooseValue() / 16, offset = chooseValue();
                bool const rounds = choices_.flag();
                note("scale", scale, offset, rounds);
                push<ScaleFilter>(top, scale, offset, rounds, false);
                reference_ = makeScale(reference_, scale, offset, rounds);
                break;
            }
            case 2: {
                auto const target = chooseRange();
                bool const rounds = choices_.flag();
                note("scale to", target, rounds);
                push<ScaleFilter>(top, target, rounds, false);
                reference_ = makeScale(reference_, target, rounds);
                break;
            }
            case 3: {
                Vector const min = chooseVector(-4, 20, 20, 3);
                Box const bounds(min, min + chooseVector(-1, 20, 20, 3));
                auto const level = choices_.integer(-2, 6);
                note("sub-image", bounds.min, bounds.max, level);
                push<SubImageFilter>(top, bounds, level, false);
                reference_ = makeSubImage(reference_, bounds, level);
                break;
            }
            case 4: {
                auto const slice = choices_.integer(-1, 3);
                note("slice", slice);
                push<SliceFilter>(top, slice, false);
                reference_ = makeSlice(reference_, slice);
                break;
            }
            case 5: {
                double const factor = static_cast<double>(choices_.integer(1, 255)) / 256;
                // Small factors one after another take the reference too long.
                if (factor * shrink_ < 0.15) break;
                shrink_ *= factor;
                note("shrink", factor);
                push<ArbitraryDownsampleFilter>(top, factor, false);
                reference_ = makeShrunk(reference_, factor);
                break;
            }
            case 6: {
                std::vector<long long> channels(static_cast<std::size_t>(choices_.integer(0, 3)) *
                                                (reference_->numChannels > 0 ? 1 : 0));
                for (auto& c : channels) c = choices_.integer(0, reference_->numChannels - 1);
                note("channels");
                for (auto const c : channels) tell(c);
                push<ChannelFilter>(top, channels, false);
                reference_ = makeChannels(reference_, std::move(channels));
                break;
            }
            default:
                note("view");
                image_ = top->getViewableRepresentation();
                reference_ = reference_->getView();
        }
    }

    /// Writes down what is made and read, for whoever looks into a finding.
    template <typename... Things>
    void note(char const* what, Things const&... things) {
        story_ << "\n  " << what;
        (tell(things), ...);
    }
    template <typename T>
    void tell(T const& value) {
        story_ << ' ' << value;
    }
    void tell(Vector const& v) { story_ << " (" << Vector(v).toString() << ')'; }
    void tell(ValueRange<double> const& r) { story_ << ' ' << r.min << "..." << r.max; }

    template <typename I, typename... Arguments>
    void push(Arguments&&... arguments) {
        images_.push_back(std::make_unique<I>(std::forward<Arguments>(arguments)...));
        image_ = images_.back().get();
    }

    // ---- checking ----------------------------------------------------------------------------

    void expect(bool kept, char const* promise) const {
        if (!kept) require(false, promise + story_.str());
    }

    static bool isEqual(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

    void checkFacts() {
        expect(image_->getNumChannels() == reference_->numChannels, "channels");
        expect(image_->getNumLevels() == reference_->getNumLevels(), "levels");
        for (long long level = -3; level < 8; ++level) {
            expect(image_->getExtent(level) == reference_->getExtent(level), "extents");
        }
        auto const range = image_->getValueRange();
        expect(
            isEqual(range.min, reference_->range.min) && isEqual(range.max, reference_->range.max),
            "a value range");
    }

    long long chooseLevel() {
        constexpr long long strange[] = {-1, -2, 7, 62, 63, 64, INT64_MIN, INT64_MAX};
        auto const choice = choices_.integer(0, 31);
        return choice < 8 ? strange[choice] : choice % 5;
    }

    Values read(long long level, Box const& region) {
        note("read", level, region.min, region.max);
        auto const size = image_->getNumChannels() * region.getSize();
        Values values(static_cast<std::size_t>(size), -54321.0);
        image_->openRegion(values.data(), level, region);
        return values;
    }

    void checkRead() {
        auto const level = chooseLevel();
        Vector const min = chooseVector(-6, 30, 24, 4);
        Box region(min, min + chooseVector(-1, 11, 11, 2));
        if (choices_.integer(0, 15) == 0) {
            // Far away there is nothing either; positions may wrap around, nothing else may happen.
            auto const far = choices_.integer(INT64_MIN, INT64_MAX);
            Vector const extent = region.getExtent();
            region.shift(choices_.flag() ? Vector(far, 0, 0) : Vector(0, far, far));
            if (region.getExtent() != extent) return;  // torn apart at the end of 64 bits
            if (shrink_ < 1) {
                (void)read(level, region);
                return;
            }
        }
        Values const values = read(level, region);
        Values const expected = reference_->read(level, region);
        double const tolerance = reference_->tolerance;
        for (std::size_t i = 0; i < values.size() && std::isfinite(tolerance); ++i) {
            bool const isRight = tolerance == 0 ? isEqual(values[i], expected[i])
                                                : std::abs(values[i] - expected[i]) <= tolerance;
            if (!isRight) note("is", values[i], "instead of", expected[i], "at", i);
            expect(isRight, "a region is what the reference says");
        }
        checkPiece(level, region, values);
        checkSamples(level, region, values);
    }

    /// Samples of any type are the values, converted; natively or not.
    void checkSamples(long long level, Box const& region, Values const& values) {
        auto const numChannels = image_->getNumChannels();
        if (values.empty()) return;
        auto const channel = choices_.integer(0, numChannels - 1);
        auto const size = static_cast<std::size_t>(region.getSize());
        std::vector<std::int16_t> shorts(2 * size);
        std::vector<double> doubles(2 * size);
        std::vector<long long> const chosen{channel, numChannels - 1};
        note("samples", channel);
        readSamples(*image_, shorts.data(), SampleType::I16, level, region, chosen);
        readSamples(*image_, doubles.data(), SampleType::F64, level, region, chosen);
        for (std::size_t i = 0; i < 2 * size; ++i) {
            auto const plane = static_cast<std::size_t>(chosen[i / size]);
            double const value = values[plane * size + i % size];
            double const rounded = std::isnan(value) ? 0.0 : std::floor(value + 0.5);
            expect(shorts[i] == (rounded < -32768.0  ? -32768
                                 : rounded > 32767.0 ? 32767
                                                     : static_cast<int>(rounded)),
                   "shorts are the values, rounded and clamped");
            expect(isEqual(doubles[i], value), "doubles of chosen channels are the values");
        }
    }

    /// A part of a region equals that part of the whole, to the bit.
    void checkPiece(long long level, Box const& region, Values const& whole) {
        Vector const from = region.min + chooseVector(0, 11, 11, 2);
        Box piece = Box(from, from + chooseVector(0, 11, 11, 2)).intersected(region);
        if (reference_->dependsOnRegion) piece = piece.intersected(Box(image_->getExtent(level)));
        if (piece.isEmpty()) return;
        Values const values = read(level, piece);
        Vector const e = region.getExtent();
        std::size_t next = 0;
        forEachPixel(image_->getNumChannels(), piece, [&](long long c, Vector const& p) {
            Vector const at = p - region.min;
            auto const index = ((c * e.z + at.z) * e.y + at.y) * e.x + at.x;
            expect(isEqual(values[next++], whole[static_cast<std::size_t>(index)]),
                   "a piece equals the whole");
        });
    }

    void checkBank() {
        ChannelBank bank(image_);
        bank.addChannel(image_, "a", false);
        bank.addChannel(image_, "b", false);
        auto const level = chooseLevel();
        Vector const min = chooseVector(-2, 12, 12, 2);
        Box const region(min, min + chooseVector(-1, 7, 7, 1));
        auto const planes = bank.openRegion({"b", "a", "b"}, region, level);
        Values const values = read(level, region);
        for (long long c = 0; c < 3; ++c) {
            for (std::size_t i = 0; i < values.size(); ++i) {
                expect(isEqual(planes->getPtr(c)[i], values[i]), "a bank gives what its images do");
            }
        }
    }

    Choices& choices_;
    std::vector<std::unique_ptr<Image>> images_;  ///< what stands on top goes first
    Image* image_ = nullptr;
    ReferencePtr reference_;
    double shrink_ = 1;
    std::ostringstream story_;
};

}  // namespace

}  // namespace Quivo::Fuzzing

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace Quivo::Fuzzing;
    Choices choices(data, size);
    Chain(choices).check();
    return 0;
}

#pragma once

// Finds the pages of an image among those of its file.

#include "read/PyramidLayout.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quivo::detail {

/// Fills a layout step by step. One thread at a time.
class LayoutBuilder {
public:
    LayoutBuilder(PyramidLayout& layout, TiffHandle& tiff, DirectoryReader& directories,
                  TiffSelection const& selection, bool isStrict);

    /// Chooses the planes of level 0.
    /// error: std::runtime_error as `PyramidLayout`, here and below.
    void placeBase(std::string const& fileName);
    /// Adds the levels that are stored.
    void placeLevels();
    /// Gives pages their masks.
    void placeMasks();
    /// Lists what is left.
    void listOthers();

private:
    /// What became of a page of the chain.
    struct Fate {
        bool isUsed = false;
        std::string reason;  ///< why it is left out, empty where its sketch tells
    };

    [[nodiscard]] long long findSelected() const;
    bool placeStack();
    void placePlain();
    void setFill(PageInfo& page, PageSketch const& sketch);
    void readNoData();
    PageInfo parseFirst(std::size_t page);
    /// A page parsed by libtiff; nothing, and the reason, for one that cannot be read.
    std::optional<PageInfo> parse(PageSketch const& sketch, std::string& reason);
    void shiftPlane(PageInfo& page, std::size_t index, std::uint64_t skip);
    [[nodiscard]] long long findLevel(PageSketch const& sketch) const;
    [[nodiscard]] std::vector<std::size_t> findCandidates() const;
    void placeSubDirectories();
    void placeChain();
    bool placeMasksOf(std::size_t level);
    bool fitsLevel(std::size_t level, PageInfo const& page) const;
    void noteTrouble(std::string const& trouble);
    void list(std::string selector, std::string reason);
    [[nodiscard]] std::string describe(std::size_t page) const;

    PyramidLayout& layout_;
    TiffHandle& tiff_;
    DirectoryReader& directories_;
    TiffSelection selection_;
    bool isStrict_;
    PageTable table_;
    std::vector<Fate> fates_;
    std::vector<std::size_t> basePages_;  ///< one per plane, indices in the chain
    std::size_t numUnlisted_ = 0;
};

}  // namespace Quivo::detail

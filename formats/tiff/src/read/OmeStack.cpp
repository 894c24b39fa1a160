#include "read/Lengths.h"
#include "read/Stack.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <new>
#include <set>
#include <stdexcept>

namespace Quivo::detail {

namespace {

/// A name without its prefix.
std::string_view nameOf(pugi::xml_node const& node) {
    std::string_view const name = node.name();
    return name.substr(name.rfind(':') + 1);  // npos + 1 is 0
}

pugi::xml_node childOf(pugi::xml_node const& node, std::string_view name) {
    return node.find_child([&](pugi::xml_node const& child) { return nameOf(child) == name; });
}

template <typename Function>
void forEachChild(pugi::xml_node const& node, std::string_view name, Function function) {
    for (auto const& child : node.children()) {
        if (nameOf(child) == name) function(child);
    }
}

std::optional<long long> numberOf(pugi::xml_node const& node, char const* attribute) {
    std::string_view const text = trim(node.attribute(attribute).value());
    long long value = 0;
    auto const [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    bool const isNumber =
        error == std::errc() && rest == text.data() + text.size() && !text.empty();
    constexpr long long most = 1LL << 40;
    return isNumber && value > -most && value < most ? std::optional(value) : std::nullopt;
}

long long countOf(pugi::xml_node const& node, char const* attribute) {
    return std::max(1LL, numberOf(node, attribute).value_or(1));
}

/// Which planes of an image lie where.
class Series {
public:
    /// Takes at most `left` planes, and what it takes off `left`.
    Series(pugi::xml_node const& root, pugi::xml_node const& image, PageTable const& table,
           std::string const& fileName, long long& left)
        : image_(image),
          pixels_(childOf(image, "Pixels")),
          table_(table),
          ownId_(trim(root.attribute("UUID").value())),
          fileName_(fileName) {
        numSlices_ = countOf(pixels_, "SizeZ");
        numTimes_ = countOf(pixels_, "SizeT");
        auto const numSamples = countOf(pixels_, "SizeC");
        long long numElements = 0;
        forEachChild(pixels_, "Channel", [&](auto const&) { ++numElements; });
        samplesPerPage_ = findSamplesPerPage();
        numChannels_ = numSamples % samplesPerPage_ == 0 ? numSamples / samplesPerPage_
                                                         : std::max(1LL, numElements);
        bool const isElsewhere = readPlanes(false, left);
        // A file that was renamed does not find its own name: what is said of one file is its.
        if (grid_.getCount() == 0 && isElsewhere && otherFiles_.size() == 1) {
            otherFiles_.clear();
            readPlanes(true, left);
        }
    }

    [[nodiscard]] PlaneGrid const& getGrid() const noexcept { return grid_; }
    [[nodiscard]] std::vector<std::size_t> const& getPages() const noexcept { return pages_; }
    [[nodiscard]] long long getNumTimes() const noexcept { return numTimes_; }
    [[nodiscard]] std::size_t getNumOtherFiles() const noexcept { return otherFiles_.size(); }
    [[nodiscard]] long long getNumPlanes() const noexcept {
        return numSlices_ * numTimes_ * numChannels_;
    }
    [[nodiscard]] std::string getTitle() const {
        std::string_view const name = trim(image_.attribute("Name").value());
        return name.empty() ? std::string() : " \"" + toUtf8(name) + "\"";
    }

    void describe(std::vector<long long> const& channels, Stack& stack) const {
        stack.pixelSize = {sizeOf("X"), sizeOf("Y"), sizeOf("Z")};
        auto const text = childOf(image_, "Description");
        stack.description = toUtf8(trim(text.text().get()));
        if (stack.description.empty()) {
            stack.description = toUtf8(trim(image_.attribute("Name").value()));
        }
        auto date = childOf(image_, "AcquisitionDate");
        if (!date) date = childOf(image_, "AcquiredDate");
        stack.date = toUtf8(trim(date.text().get()));
        std::vector<ChannelMetadata> told;
        forEachChild(pixels_, "Channel", [&](pugi::xml_node const& element) {
            ChannelMetadata channel;
            channel.name = toUtf8(trim(element.attribute("Name").value()));
            if (auto const colour = numberOf(element, "Color")) {
                auto const bits = static_cast<std::uint64_t>(*colour);
                auto const part = [&](int shift) {
                    return static_cast<double>(bits >> shift & 0xff) / 255.0;
                };
                channel.colour = Colour{part(24), part(16), part(8)};
            }
            told.push_back(std::move(channel));
        });
        // Colours of a picture are no channels to be coloured.
        bool const isPicture = samplesPerPage_ > 1;
        for (auto const index : channels) {
            auto const c = static_cast<std::size_t>(index);
            stack.channels.push_back(c < told.size() ? told[c] : ChannelMetadata());
            if (isPicture) stack.channels.back().colour.reset();
        }
    }

private:
    [[nodiscard]] double sizeOf(std::string const& axis) const {
        auto const unit = pixels_.attribute(("PhysicalSize" + axis + "Unit").c_str());
        return parseLength(pixels_.attribute(("PhysicalSize" + axis).c_str()).value(),
                           unit ? unit.value() : "um");
    }

    /// Of the first page that is told.
    [[nodiscard]] long long findSamplesPerPage() const {
        auto const data = childOf(pixels_, "TiffData");
        auto const page = numberOf(data, "IFD").value_or(0);
        bool const exists = page >= 0 && page < std::ssize(table_.pages);
        return exists ? table_.pages[static_cast<std::size_t>(page)].numSamples : 1;
    }

    /// Whether a block of planes is in this file. Another one is taken note of.
    bool isHere(pugi::xml_node const& data) {
        auto const id = childOf(data, "UUID");
        if (!id) return true;
        std::string_view const file = trim(id.attribute("FileName").value());
        std::string_view const text = trim(id.text().get());
        if (!ownId_.empty() && text == ownId_) return true;
        if (!file.empty() && file == fileName_) return true;
        otherFiles_.emplace(file.empty() ? text : file);
        return false;
    }

    /// Returns whether planes are said to be in other files.
    bool readPlanes(bool takesAll, long long& left) {
        auto const numPages = static_cast<long long>(table_.pages.size());
        bool isTold = false;
        bool isElsewhere = false;
        forEachChild(pixels_, "TiffData", [&](pugi::xml_node const& data) {
            isTold = true;
            if (!takesAll && !isHere(data)) {
                isElsewhere = true;
                return;
            }
            auto const directory = numberOf(data, "IFD");
            auto const count = numberOf(data, "PlaneCount");
            auto const first = directory.value_or(0);
            auto channel = numberOf(data, "FirstC").value_or(0);
            if (channel >= numChannels_) channel /= samplesPerPage_;
            place(first, count.value_or(directory ? 1 : numPages), channel,
                  numberOf(data, "FirstZ").value_or(0), numberOf(data, "FirstT").value_or(0), left);
        });
        if (!isTold) place(0, numPages, 0, 0, 0, left);
        return isElsewhere;
    }

    void place(long long page, long long count, long long channel, long long slice, long long time,
               long long& left) {
        std::string_view order = trim(pixels_.attribute("DimensionOrder").value());
        order = order.size() == 5 ? order.substr(2) : "CZT";
        auto const numPages = static_cast<long long>(table_.pages.size());
        for (; count > 0 && left > 0 && page >= 0 && page < numPages; --count, ++page, --left) {
            bool const isInside = channel >= 0 && channel < numChannels_ && slice >= 0 &&
                                  slice < numSlices_ && time >= 0 && time < numTimes_;
            if (!isInside) return;
            auto const index = static_cast<std::size_t>(page);
            grid_.add(time, slice, channel, {index, 0});
            pages_.push_back(index);
            for (char const axis : order) {
                auto& position = axis == 'C' ? channel : axis == 'Z' ? slice : time;
                auto const size = axis == 'C' ? numChannels_ : axis == 'Z' ? numSlices_ : numTimes_;
                if (++position < size) break;
                position = axis == order.back() ? size : 0;
            }
        }
    }

    pugi::xml_node image_;
    pugi::xml_node pixels_;
    PageTable const& table_;
    std::string_view ownId_;
    std::string const& fileName_;
    long long numSlices_ = 1;
    long long numTimes_ = 1;
    long long numChannels_ = 1;
    long long samplesPerPage_ = 1;
    PlaneGrid grid_;
    std::vector<std::size_t> pages_;  ///< in the order in which they are told
    std::set<std::string> otherFiles_;
};

}  // namespace

std::optional<Stack> findOmeStack(std::string const& description, PageTable const& table,
                                  TiffSelection const& selection, std::string const& fileName) {
    pugi::xml_document document;
    auto const result = document.load_buffer(description.data(), description.size(),
                                             pugi::parse_default, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    pugi::xml_node const root = childOf(document, "OME");
    if (!result || !root) return std::nullopt;
    if (auto const other = childOf(root, "BinaryOnly")) {
        Stack stack;
        stack.property = "ome:XML";
        stack.text = description;
        stack.facts.emplace_back("set", "part of a set that " +
                                            toUtf8(trim(other.attribute("MetadataFile").value())) +
                                            " describes");
        return stack;
    }
    std::vector<Series> series;
    // They may name the same pages again and again: an honest file does not.
    auto left = 4 * static_cast<long long>(table.pages.size()) + 1024;
    forEachChild(root, "Image", [&](pugi::xml_node const& image) {
        constexpr std::size_t mostSeries = 1000;
        if (series.size() == mostSeries) return;
        series.emplace_back(root, image, table, fileName, left);
    });
    // A page that a further series begins with stands for that series; any other is alone.
    std::size_t shown = 0;
    while (shown < series.size()) {
        auto const& pages = series[shown].getPages();
        bool const isWanted = selection.page == 0
                                  ? !pages.empty()
                                  : shown > 0 && !pages.empty() &&
                                        static_cast<long long>(pages[0]) + 1 == selection.page;
        if (isWanted) break;
        ++shown;
    }
    if (shown == series.size()) return std::nullopt;
    auto const& image = series[shown];
    Stack stack;
    stack.property = "ome:XML";
    stack.text = description;
    auto const chosen = image.getGrid().choose(selection.time, image.getNumTimes(), stack);
    if (!chosen) return std::nullopt;
    image.describe(chosen->second, stack);
    if (image.getNumOtherFiles() > 0) {
        stack.facts.emplace_back(
            "set", "plane set over " + std::to_string(image.getNumOtherFiles() + 1) +
                       " files, this one has " + std::to_string(image.getGrid().getCount()) +
                       " of " + std::to_string(image.getNumPlanes()) + " planes");
    }
    for (std::size_t i = 0; i < series.size(); ++i) {
        if (i == shown) continue;
        auto const& pages = series[i].getPages();
        auto const title = "series " + std::to_string(i + 1) + series[i].getTitle();
        if (pages.empty()) {
            stack.others.push_back({"", title + ": in another file"});
            continue;
        }
        stack.claimed.insert(stack.claimed.end(), pages.begin(), pages.end());
        auto const number = std::to_string(pages[0] + 1);
        // The first series has no page that stands for it: it is what the file shows by itself.
        stack.others.push_back(
            {i == 0 ? "" : "#" + number,
             "page " + number + ": " + table.pages[pages[0]].getSizeText() + ", " + title});
    }
    return stack;
}

}  // namespace Quivo::detail

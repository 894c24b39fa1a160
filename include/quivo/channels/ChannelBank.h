#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Buffer.h>
#include <quivo/core/Export.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Quivo {

class Image;

/// Named single-channel images on the grid of one reference image, read together in any selection.
///
/// Channels are only ever added; their indices stay. A selection is a list of names, in any order
/// and with repetitions. Threads: reads and look-ups may run concurrently as far as the channel
/// images allow; adding must not overlap with anything.
class QUIVO_API ChannelBank {
public:
    /// One channel, in the order in which they were added. Plain value.
    struct Entry {
        std::string name;  ///< as it was added; may be empty
        Image* image;      ///< not deleted by the entry
    };

    /// `image` is the reference: never deleted by the bank, and asked for its extent with every
    /// channel that is added.
    explicit ChannelBank(Image* image);
    ChannelBank(ChannelBank const&) = delete;
    ChannelBank& operator=(ChannelBank const&) = delete;
    /// Deletes the images that the bank owns, each once.
    virtual ~ChannelBank();

    /// The reference image.
    [[nodiscard]] Image* getImage() const noexcept;

    /// Appends a channel; an empty name cannot be looked up, and may be given several times. With
    /// `takeOwnership` the bank deletes the image at its end, otherwise it outlives the bank's
    /// reads. An error changes nothing and takes no ownership.
    /// error: std::runtime_error `Filter has different extent from image ("NAME").`
    /// error: std::runtime_error `Filter has multiple channels ("NAME").`
    /// error: std::runtime_error `Filter name already exists ("NAME").`
    void addChannel(Image* image, std::string const& name, bool takeOwnership);

    /// Appends a channel that the bank owns; without a name it becomes "c" and its index.
    /// error: as above; the image is still the caller's then, so one that was made in the call
    /// itself, `addChannel(new ..., name)`, leaks.
    void addChannel(Image* image, std::string name);

    /// Deletes `image` with the bank, without making it a channel: for what channels are made of.
    /// error: std::bad_alloc; the image stays the caller's then.
    void addHiddenImage(Image* image);

    /// The number of channels, hidden images not among them.
    [[nodiscard]] int getNumChannels() const noexcept;

    /// The image of a channel; null for one without a name. `index` lies in
    /// [0, getNumChannels() - 1] (asserted only).
    [[nodiscard]] Image* getChannel(int index) const;
    /// The image of the channel so named, null when there is none.
    [[nodiscard]] Image* getChannel(std::string const& name) const;
    /// The index of the channel so named, -1 when there is none.
    [[nodiscard]] int getChannelIndex(std::string const& name) const;

    /// The names of all channels in the order of their indices.
    [[nodiscard]] std::vector<std::string> createSelectionAllChannels() const;
    /// The names of `count` channels from `first` on; none when `count` is below 1. They lie in the
    /// bank (asserted only).
    [[nodiscard]] std::vector<std::string> createSelection(int first, int count) const;

    /// Reads the named channels into a new buffer, plane i from channel `names[i]`.
    /// error: std::runtime_error `Channel does not exist ("NAME").` for an unknown or empty name,
    /// before any channel is read.
    /// error: std::length_error or std::bad_alloc when the buffer does not fit into memory.
    /// error: what a channel's read throws.
    ///
    /// Names in braces are always such a list, `{"a", "b"}` too, of which a string could be made.
    ///@{
    std::unique_ptr<Buffer<double>> openRegion(std::vector<std::string> const& names,
                                               Box const& region, long long level);
    std::unique_ptr<Buffer<double>> openRegion(std::initializer_list<std::string> names,
                                               Box const& region, long long level);
    ///@}
    /// The same for one name.
    std::unique_ptr<Buffer<double>> openRegion(std::string const& name, Box const& region,
                                               long long level);

private:
    Image* image_;
    std::vector<Entry> entries_;
    std::map<std::string, int> indexByName_;  ///< non-empty names only
    std::map<Image*, std::unique_ptr<Image>> ownedImages_;
};

}  // namespace Quivo

#include "write/OmeXml.h"

#include "write/MetadataTags.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <new>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

namespace Quivo::detail {

namespace {

constexpr char const* schema = "http://www.openmicroscopy.org/Schemas/OME/2016-06";

/// What is read takes many times its size, node by node.
constexpr std::size_t largestXml = std::size_t{16} << 20;

struct TextWriter : pugi::xml_writer {
    std::string text;
    void write(void const* data, std::size_t size) override {
        text.append(static_cast<char const*>(data), size);
    }
};

std::string toText(double value) {
    char text[32];
    auto const end = std::to_chars(text, text + sizeof(text), value).ptr;
    return std::string(text, end);
}

/// Without characters that XML cannot hold.
std::string clean(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t'; }, ' ');
    return text;
}

/// An element that is being made; what does not fit is noticed at the end.
class Element {
public:
    Element(pugi::xml_node node, bool& fits) : node_(node), fits_(fits) {
        fits_ = fits_ && !node_.empty();
    }
    Element add(char const* name) { return {node_.append_child(name), fits_}; }
    Element& set(char const* name, std::string const& value) {
        fits_ = node_.append_attribute(name).set_value(clean(value).c_str()) && fits_;
        return *this;
    }
    Element& set(char const* name, long long value) { return set(name, std::to_string(value)); }
    void setText(std::string const& text) {
        fits_ = node_.text().set(clean(text).c_str()) && fits_;
    }

private:
    pugi::xml_node node_;
    bool& fits_;
};

/// Red, green, blue and opacity as the bytes of a signed number.
std::string toOmeColour(Colour const& colour) {
    std::uint32_t value = 0;
    for (double const part : {colour.red, colour.green, colour.blue, 1.0}) {
        auto const byte = std::lround(std::clamp(part, 0.0, 1.0) * 255);
        value = value << 8 | static_cast<std::uint32_t>(byte);
    }
    return std::to_string(static_cast<std::int32_t>(value));
}

/// Whether a text is a date and time of XML Schema.
bool isDateTime(std::string const& date) {
    return date.size() >= 19 && date[4] == '-' && date[7] == '-' && date[10] == 'T';
}

std::string_view getLocalName(pugi::xml_node const& node) {
    std::string_view const name = node.name();
    auto const colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::vector<pugi::xml_node> findChildren(pugi::xml_node const& parent, std::string_view name) {
    std::vector<pugi::xml_node> found;
    for (auto const& child : parent.children()) {
        if (getLocalName(child) == name) found.push_back(child);
    }
    return found;
}

}  // namespace

char const* getOmeType(SampleType type) noexcept {
    switch (type) {
        case SampleType::U8:
            return "uint8";
        case SampleType::I8:
            return "int8";
        case SampleType::U16:
            return "uint16";
        case SampleType::I16:
            return "int16";
        case SampleType::U32:
            return "uint32";
        case SampleType::I32:
            return "int32";
        case SampleType::F32:
            return "float";
        case SampleType::F64:
            return "double";
        case SampleType::U64:
        case SampleType::I64:
        case SampleType::F16:
            break;
    }
    return nullptr;
}

bool isOmePicture(Metadata const& metadata) noexcept {
    auto const& channels = metadata.channels;
    bool const hasRoom = channels.size() == 3 || channels.size() == 4;
    bool const isOpaque =
        std::all_of(channels.begin(), channels.begin() + (hasRoom ? 3 : 0),
                    [](auto const& channel) { return channel.alpha == AlphaKind::None; });
    return metadata.colourModel == ColourModel::Rgb && hasRoom && isOpaque &&
           (channels.size() == 3 || channels[3].alpha != AlphaKind::None);
}

std::string makeOmeXml(Metadata const& metadata, WrittenShape const& shape) {
    auto const numChannels = std::ssize(metadata.channels);
    bool const isPicture = isOmePicture(metadata);
    bool fits = true;
    pugi::xml_document document;
    auto declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version").set_value("1.0");
    declaration.append_attribute("encoding").set_value("UTF-8");
    Element root(document.append_child("OME"), fits);
    root.set("xmlns", schema).set("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance");
    root.set("xsi:schemaLocation", std::string(schema) + " " + schema + "/ome.xsd");
    root.set("Creator", "QuivoCore");
    auto image = root.add("Image");
    image.set("ID", "Image:0");
    if (isDateTime(metadata.date)) image.add("AcquisitionDate").setText(metadata.date);
    if (!metadata.description.empty()) image.add("Description").setText(metadata.description);
    auto pixels = image.add("Pixels");
    pixels.set("ID", "Pixels:0").set("DimensionOrder", "XYCZT");
    char const* const type = getOmeType(shape.sampleType);
    pixels.set("Type", type ? type : "");
    pixels.set("SizeX", shape.extent.x).set("SizeY", shape.extent.y);
    pixels.set("SizeC", numChannels).set("SizeZ", shape.extent.z).set("SizeT", 1);
    pixels.set("BigEndian", "false").set("Interleaved", isPicture ? "true" : "false");
    constexpr std::array<char const*, 3> axes{"X", "Y", "Z"};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        if (!(metadata.pixelSize[i] > 0)) continue;
        std::string const name = std::string("PhysicalSize") + axes[i];
        // Unlike with micrometres, which go without saying, the number stays what it is.
        pixels.set(name.c_str(), toText(metadata.pixelSize[i]));
        pixels.set((name + "Unit").c_str(), "nm");
    }
    for (long long c = 0; c < (isPicture ? 1 : numChannels); ++c) {
        auto const& told = metadata.channels[static_cast<std::size_t>(c)];
        auto channel = pixels.add("Channel");
        channel.set("ID", "Channel:0:" + std::to_string(c));
        if (!isPicture && !told.name.empty()) channel.set("Name", told.name);
        channel.set("SamplesPerPixel", isPicture ? numChannels : 1);
        if (!isPicture && told.colour) channel.set("Color", toOmeColour(*told.colour));
    }
    auto data = pixels.add("TiffData");
    data.set("IFD", 0).set("PlaneCount", shape.extent.z * (isPicture ? 1 : numChannels));
    if (!fits) throw std::bad_alloc();
    TextWriter writer;
    document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
    return std::move(writer.text);
}

std::string findFurtherOmeItems(std::string const& xml) {
    static std::set<std::string_view> const written{
        "OME",     "Image",    "Description", "AcquisitionDate", "AcquiredDate", "Pixels",
        "Channel", "TiffData", "UUID",        "CreationDate"};
    static std::set<std::string_view> const ofChannel{"ID", "Name", "SamplesPerPixel", "Color"};
    pugi::xml_document document;
    if (xml.size() > largestXml) return {};
    auto const parsed = document.load_buffer(xml.data(), xml.find_last_not_of('\0') + 1);
    if (parsed.status == pugi::status_out_of_memory) throw std::bad_alloc();
    struct Collector : pugi::xml_tree_walker {
        std::set<std::string> found;
        void tell(std::string_view name) {
            auto const isOdd = [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); };
            if (std::none_of(name.begin(), name.end(), isOdd)) found.emplace(name);
        }
        bool for_each(pugi::xml_node& node) override {
            if (node.type() != pugi::node_element) return true;
            auto const name = getLocalName(node);
            if (!written.contains(name)) tell(name);
            if (name != "Channel") return true;
            for (auto const& item : node.attributes()) {
                if (!ofChannel.contains(item.name())) tell(item.name());
            }
            return true;
        }
    } collector;
    document.traverse(collector);
    constexpr std::size_t mostTold = 6;
    std::string told;
    std::size_t count = 0;
    for (auto const& name : collector.found) {
        if (++count > mostTold) break;
        told += (told.empty() ? "" : ", ") + name;
    }
    return told + (count > mostTold ? ", ..." : "");
}

bool isOmeXmlTrue(std::string const& xml, long long numChannels, WrittenShape const& shape) {
    pugi::xml_document document;
    if (xml.size() > largestXml) return false;
    auto const parsed = document.load_buffer(xml.data(), xml.find_last_not_of('\0') + 1);
    if (parsed.status == pugi::status_out_of_memory) throw std::bad_alloc();
    auto const root = document.document_element();
    auto const images = findChildren(root, "Image");
    if (!parsed || images.size() != 1) return false;
    auto const allPixels = findChildren(images[0], "Pixels");
    if (allPixels.size() != 1) return false;
    auto const& pixels = allPixels[0];
    char const* const type = getOmeType(shape.sampleType);
    bool const isSameShape = pixels.attribute("SizeX").as_llong() == shape.extent.x &&
                             pixels.attribute("SizeY").as_llong() == shape.extent.y &&
                             pixels.attribute("SizeZ").as_llong() == shape.extent.z &&
                             pixels.attribute("SizeC").as_llong() == numChannels &&
                             pixels.attribute("SizeT").as_llong() == 1 && type &&
                             std::string_view(pixels.attribute("Type").value()) == type;
    auto const channels = findChildren(pixels, "Channel");
    // One page has all channels only where OME says that one plane has.
    bool const isOnePlane =
        numChannels == 1 || (channels.size() == 1 &&
                             channels[0].attribute("SamplesPerPixel").as_llong() == numChannels);
    if (!isSameShape || !isOnePlane) return false;
    auto const blocks = findChildren(pixels, "TiffData");
    return std::all_of(blocks.begin(), blocks.end(), [&](auto const& block) {
        auto const files = findChildren(block, "UUID");
        bool const isHere = files.empty() || std::string_view(files[0].text().get()) ==
                                                 std::string_view(root.attribute("UUID").value());
        bool const isOnly = blocks.size() == 1 && !block.attribute("IFD");
        return isHere && block.attribute("FirstC").as_llong() == 0 &&
               block.attribute("FirstT").as_llong() == 0 &&
               (isOnly ||
                block.attribute("IFD").as_llong() == block.attribute("FirstZ").as_llong());
    });
}

bool isImageJTrue(std::string const& description, long long numChannels,
                  WrittenShape const& shape) {
    long long images = 1, others = 1;
    std::istringstream lines(description);
    for (std::string line; std::getline(lines, line);) {
        auto const number = [&](std::string_view key) {
            bool const hasKey = std::string_view(line).starts_with(key);
            return hasKey ? std::max(1LL, std::atoll(line.c_str() + key.size())) : 1;
        };
        images *= number("images=");
        others *= number("channels=") * number("frames=");
    }
    return images == shape.extent.z && others == 1 && (numChannels == 1 || numChannels == 3);
}

}  // namespace Quivo::detail

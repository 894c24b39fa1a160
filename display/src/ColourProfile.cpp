#include "ColourProfile.h"

#include <lcms2.h>

#include <new>
#include <optional>

namespace Quivo::detail {

namespace {

struct CloseProfile {
    void operator()(void* profile) const noexcept { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

/// How the colours of a model come in, and of which kind their profile is.
struct Encoding {
    cmsUInt32Number format;
    cmsColorSpaceSignature space;
};

std::optional<Encoding> findEncoding(ColourModel model) noexcept {
    switch (model) {
        case ColourModel::Grey:
            return Encoding{TYPE_GRAY_16, cmsSigGrayData};
        case ColourModel::Rgb:
            return Encoding{TYPE_RGB_16, cmsSigRgbData};
        case ColourModel::Cmyk:
            return Encoding{TYPE_CMYK_16, cmsSigCmykData};
        case ColourModel::CieLab:
        case ColourModel::IccLab:
            return Encoding{TYPE_Lab_DBL, cmsSigLabData};
        case ColourModel::None:
        case ColourModel::LogLuv:
        case ColourModel::Classes:
            break;
    }
    return std::nullopt;
}

}  // namespace

void ColourProfile::FreeContext::operator()(void* context) const noexcept {
    cmsDeleteContext(static_cast<cmsContext>(context));
}

void ColourProfile::FreeTransform::operator()(void* transform) const noexcept {
    cmsDeleteTransform(transform);
}

ColourProfile::~ColourProfile() = default;

std::unique_ptr<ColourProfile const> ColourProfile::make(std::span<std::byte const> bytes,
                                                         ColourModel model) {
    auto const encoding = findEncoding(model);
    if (bytes.empty() || bytes.size() > (std::size_t{64} << 20) || !encoding) return nullptr;
    std::unique_ptr<ColourProfile> result(new ColourProfile());
    // A context of its own: nobody's plugins and handlers, and errors are told to nobody.
    result->context_.reset(cmsCreateContext(nullptr, nullptr));
    if (!result->context_) throw std::bad_alloc();
    auto* const context = static_cast<cmsContext>(result->context_.get());
    Profile const from(cmsOpenProfileFromMemTHR(context, bytes.data(),
                                                static_cast<cmsUInt32Number>(bytes.size())));
    if (!from || cmsGetColorSpace(from.get()) != encoding->space) return nullptr;
    Profile const to(cmsCreate_sRGBProfileTHR(context));
    if (!to) throw std::bad_alloc();
    // Without the cache of the last colour, which threads would share.
    constexpr cmsUInt32Number flags = cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION;
    result->transform_.reset(cmsCreateTransformTHR(context, from.get(), encoding->format, to.get(),
                                                   TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC,
                                                   flags));
    if (!result->transform_) return nullptr;
    return result;
}

void ColourProfile::convert(void const* colours, std::uint8_t* dst,
                            std::size_t count) const noexcept {
    cmsDoTransform(transform_.get(), colours, dst, static_cast<cmsUInt32Number>(count));
}

}  // namespace Quivo::detail

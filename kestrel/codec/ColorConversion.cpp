// Colour profiles by Little CMS.
#include "kestrel/codec/ColorConversion.h"

#include <lcms2.h>

#include <algorithm>
#include <memory>

#include "kestrel/codec/Exif.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

struct ProfileLibrary : SharedLibrary {
    ProfileLibrary() : SharedLibrary(KESTREL_PROFILE_LIBRARY) {}
    KESTREL_LATE(cmsCloseProfile);
    KESTREL_LATE(cmsCreate_sRGBProfileTHR);
    KESTREL_LATE(cmsCreateContext);
    KESTREL_LATE(cmsCreateTransformTHR);
    KESTREL_LATE(cmsDeleteContext);
    KESTREL_LATE(cmsDeleteTransform);
    KESTREL_LATE(cmsDoTransform);
    KESTREL_LATE(cmsGetProfileInfoASCII);
    KESTREL_LATE(cmsOpenProfileFromMemTHR);

    /// Null when it is not installed.
    static const ProfileLibrary* Get() {
        static const ProfileLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

struct ContextEnd {
    void operator()(void* context) const { ProfileLibrary::Get()->cmsDeleteContext(static_cast<cmsContext>(context)); }
};
struct ProfileEnd {
    void operator()(void* profile) const { ProfileLibrary::Get()->cmsCloseProfile(profile); }
};
struct TransformEnd {
    void operator()(void* transform) const { ProfileLibrary::Get()->cmsDeleteTransform(transform); }
};
using ContextPtr = std::unique_ptr<void, ContextEnd>;
using ProfilePtr = std::unique_ptr<void, ProfileEnd>;
using TransformPtr = std::unique_ptr<void, TransformEnd>;

ContextPtr NewContext(const ProfileLibrary& library) {
    ContextPtr context(reinterpret_cast<void*>(library.cmsCreateContext(nullptr, nullptr)));
    if (!context) throw std::bad_alloc();
    return context;
}

ProfilePtr Open(const ProfileLibrary& library, const ContextPtr& context, const std::vector<std::uint8_t>& bytes) {
    return ProfilePtr(library.cmsOpenProfileFromMemTHR(static_cast<cmsContext>(context.get()), bytes.data(),
                                                       static_cast<cmsUInt32Number>(bytes.size())));
}

}  // namespace

CodecError ConvertToSrgb(Dib* image, ImageMetadata& metadata) {
    if (!image || image->biBitCount != 24) return {CodecFault::NoPicture, "there is no 24-bit picture to convert"};
    if (metadata.profile.empty()) return {};
    const ProfileLibrary* library = ProfileLibrary::Get();
    if (!library) return {CodecFault::NotSupported, "converting colours needs the library " KESTREL_PROFILE_LIBRARY};
    const ContextPtr context = NewContext(*library);
    const ProfilePtr from = Open(*library, context, metadata.profile);
    const ProfilePtr to(library->cmsCreate_sRGBProfileTHR(static_cast<cmsContext>(context.get())));
    if (!from || !to) return {CodecFault::Broken, "the colour profile is damaged"};
    const TransformPtr transform(library->cmsCreateTransformTHR(
        static_cast<cmsContext>(context.get()), from.get(), TYPE_BGR_8, to.get(), TYPE_BGR_8,
        INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_HIGHRESPRECALC));
    if (!transform) return {CodecFault::Broken, "the colour profile cannot be converted from"};
    for (int row = 0; row < image->biHeight; ++row) {
        std::uint8_t* const pixels = DibRow(image, row);
        library->cmsDoTransform(transform.get(), pixels, pixels, static_cast<cmsUInt32Number>(image->biWidth));
    }
    metadata.profile.clear();
    SetExifToSrgb(metadata.exif);
    return {};
}

std::string ProfileName(const std::vector<std::uint8_t>& profile) {
    const ProfileLibrary* library = ProfileLibrary::Get();
    if (!library || profile.empty()) return {};
    const ContextPtr context = NewContext(*library);
    const ProfilePtr opened = Open(*library, context, profile);
    char text[256] = {};
    if (!opened ||
        library->cmsGetProfileInfoASCII(opened.get(), cmsInfoDescription, "en", "US", text, sizeof text - 1) == 0)
        return {};
    std::string name(text);
    std::ranges::replace_if(
        name, [](char c) { return c < ' ' || c > '~'; }, '?');
    return name;
}

}  // namespace kestrel

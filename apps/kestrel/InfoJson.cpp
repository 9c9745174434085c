#include "apps/kestrel/InfoJson.h"

#include "apps/kestrel/Json.h"

namespace {

Json OrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }
Json OrNull(double value) { return value > 0 ? Json(value) : Json(); }

Json ExifAsJson(const kestrel::ExifSummary& exif) {
    return {{"make", OrNull(exif.make)},
            {"model", OrNull(exif.model)},
            {"lens", OrNull(exif.lens)},
            {"taken", OrNull(exif.taken)},
            {"exposureTime", OrNull(exif.exposureTime)},
            {"aperture", OrNull(exif.aperture)},
            {"focalLength", OrNull(exif.focalLength)},
            {"iso", exif.sensitivity > 0 ? Json(exif.sensitivity) : Json()},
            {"latitude", exif.place ? Json(exif.place->latitude) : Json()},
            {"longitude", exif.place ? Json(exif.place->longitude) : Json()},
            {"description", OrNull(exif.description)},
            {"artist", OrNull(exif.artist)},
            {"copyright", OrNull(exif.copyright)},
            {"software", OrNull(exif.software)}};
}

Json InfoAsJson(const PictureInfo& info) {
    if (!info.problem.empty()) return {{"file", info.name}, {"problem", info.problem}};
    const kestrel::LoadResult& picture = info.picture;
    const kestrel::ImageMetadata& metadata = picture.metadata;
    const char* const units[] = {nullptr, "ratio", "inch", "centimeter", "meter"};
    const char* const unit = units[static_cast<int>(metadata.density.unit)];
    return {{"file", info.name},
            {"format", FormatText(picture)},
            {"width", picture.fullWidth},
            {"height", picture.fullHeight},
            {"pages", picture.pages},
            {"alpha", picture.hasAlpha},
            {"orientation", picture.orientation},
            {"density", unit ? Json{{"x", metadata.density.x}, {"y", metadata.density.y}, {"per", unit}} : Json()},
            {"profile", metadata.profile.empty() ? Json() : Json(info.profile)},
            {"bytes",
             {{"exif", metadata.exif.size()},
              {"iptc", metadata.iptc.size()},
              {"xmp", metadata.xmp.size()},
              {"icc", metadata.profile.size()}}},
            {"exif", metadata.exif.empty() ? Json() : ExifAsJson(info.exif)},
            {"chain", OrNull(info.chain)}};
}

}  // namespace

std::string FormatText(const kestrel::LoadResult& picture) {
    return picture.format == kestrel::ImageFormat::Unknown ? "pixels" : kestrel::FormatName(picture.format);
}

std::string InfoAsJson(const std::vector<PictureInfo>& pictures) {
    Json list = Json::array();
    for (const PictureInfo& info : pictures) list.push_back(InfoAsJson(info));
    return Dumped(list);
}

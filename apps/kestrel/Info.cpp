#include <fmt/format.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/InfoJson.h"
#include "apps/kestrel/PictureFiles.h"
#include "kestrel/codec/ColorConversion.h"

namespace {

struct Options {
    std::vector<std::string> files;
    bool json = false;
    bool trustedOnly = false;
};

std::string DensityText(const kestrel::Density& density) {
    using Unit = kestrel::Density::Unit;
    const char* const units[] = {"", "(ratio only)", "per inch", "per centimeter", "per meter"};
    if (density.unit == Unit::None) return {};
    return fmt::format("{:g} x {:g} {}", density.x, density.y, units[static_cast<int>(density.unit)]);
}

std::string ExposureText(double seconds) {
    if (seconds <= 0) return {};
    return seconds < 0.4 ? fmt::format("1/{:g} s", std::round(1 / seconds)) : fmt::format("{:g} s", seconds);
}

std::string Blocks(const kestrel::ImageMetadata& metadata) {
    std::string text;
    const auto add = [&](const char* name, const std::vector<std::uint8_t>& block) {
        if (!block.empty()) text += fmt::format("{}{} ({} bytes)", text.empty() ? "" : ", ", name, block.size());
    };
    add("EXIF", metadata.exif);
    add("IPTC", metadata.iptc);
    add("XMP", metadata.xmp);
    add("ICC", metadata.profile);
    return text;
}

void PrintInfo(const PictureInfo& info) {
    const kestrel::LoadResult& picture = info.picture;
    const kestrel::ExifSummary& exif = info.exif;
    const auto line = [](const char* name, const std::string& value) {
        if (!value.empty()) console::Print(fmt::format("  {:<13} {}\n", name, value));
    };
    const auto number = [](double value, const char* format) {
        return value > 0 ? fmt::format(fmt::runtime(format), value) : std::string();
    };
    console::Print(info.name + "\n");
    line("format", FormatText(picture));
    line("size", fmt::format("{} x {}", picture.fullWidth, picture.fullHeight));
    if (picture.pages > 1) line("pages", std::to_string(picture.pages));
    line("alpha", picture.hasAlpha ? "yes" : "no");
    line("orientation",
         picture.orientation == 1 ? "1, upright" : fmt::format("{}, is turned upright when read", picture.orientation));
    line("density", DensityText(picture.metadata.density));
    line("profile", info.profile);
    line("metadata", Blocks(picture.metadata));
    line("camera", exif.make.empty() || exif.model.starts_with(exif.make) ? exif.model : exif.make + " " + exif.model);
    line("lens", exif.lens);
    line("taken", exif.taken);
    line("exposure", ExposureText(exif.exposureTime));
    line("aperture", number(exif.aperture, "f/{:g}"));
    line("focal length", number(exif.focalLength, "{:g} mm"));
    line("ISO", number(static_cast<double>(exif.sensitivity), "{:g}"));
    if (exif.place) line("place", fmt::format("{:.6f}, {:.6f}", exif.place->latitude, exif.place->longitude));
    line("description", exif.description);
    line("artist", exif.artist);
    line("copyright", exif.copyright);
    line("software", exif.software);
    if (!info.chain.empty()) line("chain", fmt::format("stored, {} bytes", info.chain.size()));
}

int Run(const Options& options) {
    std::vector<PictureInfo> all;
    int result = console::kDone;
    for (const std::string& file : options.files) {
        PictureInfo info{.name = InputName(file)};
        try {
            info.picture = InspectPicture(file, {.trustedOnly = options.trustedOnly});
            info.chain = StoredChainIfAny(file);
            info.exif = kestrel::SummarizeExif(info.picture.metadata.exif);
            info.profile = kestrel::ProfileName(info.picture.metadata.profile);
        } catch (const console::Failure& failure) {
            console::Error(failure.message);
            info.problem = failure.message;
            result = console::kFailed;
        }
        if (!options.json && info.problem.empty()) PrintInfo(info);
        all.push_back(std::move(info));
    }
    if (options.json) console::Print(InfoAsJson(all));
    return result;
}

}  // namespace

void AddInfo(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("info", "Tell what picture files are, without decoding them");
    command.Arguments("FILE", options->files, "A picture: a path, in.tif[2] for a page of it, or shop.box:harbour");
    command.Flag("--json", options->json, "As JSON");
    command.Flag("--trusted-only", options->trustedOnly, "Read only formats with trusted decoders");
    command.Footer("A file that cannot be read is reported, and the others follow; the exit code is 1 then.");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}

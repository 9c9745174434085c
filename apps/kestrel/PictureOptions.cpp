#include "apps/kestrel/PictureOptions.h"

#include <fmt/format.h>

#include "apps/kestrel/Console.h"
#include "kestrel/codec/ColorConversion.h"

void PictureOptions::AddTo(const Command& command) {
    command.FlagWithValue("--strip", strip, "all",
                          "Leave out all that INPUT holds beside its pixels, or with\n"
                          "--strip=location only where the picture was taken");
    command.Flag("--to-srgb", toSrgb,
                 "Convert the colors from those of INPUT's profile to sRGB;\n"
                 "without it numbers and profile stay as they are");
    command.Flag("--lossless", lossless, "Write WebP files without loss");
    command.Flag("--trusted-only", trustedOnly,
                 "Read only formats whose decoders have seen hostile files\n"
                 "by the million (\"kestrel formats\" marks them)");
}

void PictureOptions::Check(kestrel::LoadOptions& load, kestrel::SaveOptions& save) const {
    if (!strip.empty() && strip != "all" && strip != "location")
        throw console::UsageError{fmt::format("--strip: \"{}\" is not all or location", strip)};
    load.trustedOnly = trustedOnly;
    save.lossless = lossless;
}

void PictureOptions::Edit(const std::string& name, kestrel::LoadResult& loaded) const {
    if (toSrgb && !loaded.metadata.profile.empty())
        if (const auto error = kestrel::ConvertToSrgb(loaded.image.get(), loaded.metadata))
            throw console::Failure{name + ": " + error.text};
    if (strip == "location") kestrel::StripPlace(loaded.metadata);
    if (strip != "all") return;
    const std::string profile = kestrel::ProfileName(loaded.metadata.profile);
    if (!loaded.metadata.profile.empty() && profile.find("sRGB") == std::string::npos)
        console::Note(
            fmt::format("{}: its colors are those of the profile \"{}\", which is left out; --to-srgb "
                        "converts them",
                        name, profile));
    loaded.metadata = {};
}

#include <fmt/format.h>

#include <memory>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Values.h"

namespace {

struct Options {
    std::string color;
    ChainOptions chain;
};

int Run(Options& options) {
    auto color = ParseColor(options.color);
    if (!color)
        throw console::UsageError{fmt::format("color: \"{}\" is not a color #RRGGBB or #RRGGBBAA", options.color)};
    options.chain.Read();
    kestrel::Rendering rendering;
    options.chain.ApplyTo(rendering);
    std::uint8_t pixel[4] = {color->blue, color->green, color->red, static_cast<std::uint8_t>(255 - color->alpha)};
    if (rendering.TransformColor(pixel) != kestrel::S_OK) throw console::Failure{"color: the filters failed"};
    color->blue = pixel[0];
    color->green = pixel[1];
    color->red = pixel[2];
    color->alpha = static_cast<std::uint8_t>(255 - pixel[3]);
    console::Print(FormatColor(*color) + '\n');
    return console::kDone;
}

}  // namespace

void AddColor(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("color", "Print a color as a chain would show it");
    command.Argument("COLOR", options->color, "#RRGGBB or #RRGGBBAA; the number sign may be left out");
    options->chain.AddTo(command);
    command.Footer(
        "Filters that look at the whole picture or at neighbors leave a single color\nas it is.\n\n"
        "Example:\n  kestrel color '#336699' -f Sepia:Sepia=080");
    command.Run(Command::Log::kNo, [options] { return Run(*options); });
}

#include <fmt/format.h>

#include <memory>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Values.h"

void AddColor(CLI::App& program) {
    struct Options {
        std::string color;
        ChainOptions chain;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("color", "Print a colour as a chain would show it");
    command.add_option("COLOR", options->color, "#RRGGBB or #RRGGBBAA; the number sign may be left out")
        ->required()
        ->type_name("");
    options->chain.AddTo(command);
    command.footer(
        "Filters that look at the whole picture or at neighbours leave a single colour\nas it is.\n\n"
        "Example:\n  kestrel color '#336699' -f Sepia:Sepia=080");
    command.final_callback([options] {
        auto color = ParseColor(options->color);
        if (!color)
            throw console::UsageError{
                fmt::format("color: \"{}\" is not a colour #RRGGBB or #RRGGBBAA", options->color)};
        kestrel::Rendering rendering;
        options->chain.ApplyTo(rendering);
        std::uint8_t pixel[4] = {color->blue, color->green, color->red, static_cast<std::uint8_t>(255 - color->alpha)};
        if (rendering.TransformColor(pixel) != kestrel::S_OK) throw console::Failure{"color: the filters failed"};
        color->blue = pixel[0];
        color->green = pixel[1];
        color->red = pixel[2];
        color->alpha = static_cast<std::uint8_t>(255 - pixel[3]);
        fmt::print("{}\n", FormatColor(*color));
    });
}

#include <fmt/format.h>

#include <memory>

#include "apps/kestrel/CatalogueJson.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/codec/ImageFormat.h"

void AddFormats(const Command& program) {
    const auto json = std::make_shared<bool>(false);
    const Command command = program.Subcommand("formats", "List the formats of picture files");
    command.Flag("--json", *json, "As JSON, with the extensions");
    command.Footer("The content of INPUT tells its format, the name of OUTPUT or --format the one to write.");
    command.Run(Command::Log::kNo, [json] {
        if (*json) {
            console::Print(FormatsAsJson());
            return console::kDone;
        }
        for (const kestrel::FormatInfo& format : kestrel::KnownFormats())
            console::Print(fmt::format("{:<5} {:<10}  {}{}{}\n", format.name, format.writes ? "read write" : "read",
                                       format.title, format.pages ? ", pages by number" : "",
                                       format.trusted ? ", trusted" : ""));
        return console::kDone;
    });
}

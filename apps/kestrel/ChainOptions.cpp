#include "apps/kestrel/ChainOptions.h"

#include <fmt/format.h>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Files.h"
#include "kestrel/host/Catalogue.h"

namespace {

/// Longest chain text that is read, in bytes.
constexpr std::size_t kLongestChain = 64 << 20;

std::string UnknownFilter(const std::string& name) {
    const std::string near = kestrel::SuggestFilter(name);
    return fmt::format("there is no filter \"{}\"; {}", name,
                       near.empty() ? "\"kestrel filters\" lists them" : fmt::format("did you mean {}?", near));
}

/// Does a parameter text hold any key of the filter? The default text names the keys that the list leaves out.
bool HoldsAKey(const std::string& text, const kestrel::ParameterInfo& info) {
    for (const auto& key : info.keys)
        if (text.find(key.key) != text.npos) return true;
    for (std::size_t end = info.standard.find('='); end != info.standard.npos; end = info.standard.find('=', end + 1)) {
        std::size_t begin = end;
        while (begin > 0 && std::isalnum(static_cast<unsigned char>(info.standard[begin - 1]))) --begin;
        if (begin < end && text.find(info.standard.substr(begin, end - begin)) != text.npos) return true;
    }
    return info.keys.empty();
}

/// One `-f NAME[:TEXT]`.
void AddFilter(kestrel::Rendering& rendering, const std::string& argument) {
    const std::size_t colon = argument.find(':');
    const std::string name = argument.substr(0, colon);
    const kestrel::ClassRow* const filter = kestrel::FindFilter(name);
    if (!filter) throw console::UsageError{"-f: " + UnknownFilter(name)};
    const char* const text = colon == argument.npos ? nullptr : argument.c_str() + colon + 1;
    if (text && std::string_view(text).find_first_of("\t\n") != std::string_view::npos)
        throw console::UsageError{fmt::format(
            "-f {}: a parameter text holds no TAB and no line feed; chain texts are separated by them", name)};
    if (text && *text && !HoldsAKey(text, filter->parameters()))
        console::Note(fmt::format("-f {}: \"{}\" names none of its keys; \"kestrel describe {}\" lists them", name,
                                  text, kestrel::WordOf(*filter->description)));
    if (rendering.FilterCount() >= kestrel::Rendering::kMostFilters)
        throw console::Failure{
            fmt::format("-f {}: a chain holds at most {} filters", name, kestrel::Rendering::kMostFilters)};
    if (rendering.AddFilter(filter->description->progId, text) != kestrel::S_OK) throw std::bad_alloc();
}

}  // namespace

CLI::Validator NotEmpty() {
    return {[](std::string& value) { return std::string(value.empty() ? "it is empty" : ""); }, ""};
}

void ChainOptions::AddTo(CLI::App& command) {
    command
        .add_option("-f,--filter", filters_,
                    "Add a filter, placed by its cost: Sepia, Sepia.1 or\n"
                    "TMFilter.Sepia.1, with a parameter text behind a colon;\nmay be given again")
        ->type_name("NAME[:TEXT]")
        ->allow_extra_args(false);
    command
        .add_option("--chain", chainFile_,
                    "Read a chain from a file (-: standard input): a filter a\n"
                    "line, ProgID, TAB, parameter text; its order stays as it\nstands, each -f is added to it by cost")
        ->type_name("FILE")
        ->check(NotEmpty());
}

void ChainOptions::ApplyTo(kestrel::Rendering& rendering) const {
    if (!chainFile_.empty()) {
        const std::string shown = ReadsStandardInput() ? "standard input" : chainFile_;
        const std::string text = ReadWhole(chainFile_, kLongestChain);
        if (const auto fault = rendering.SetChainText(text))
            throw console::Failure{fmt::format("{}: line {}: {}", shown, fault->line, fault->reason)};
    }
    for (const std::string& filter : filters_) AddFilter(rendering, filter);
}

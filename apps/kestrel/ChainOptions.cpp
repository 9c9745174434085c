#include "apps/kestrel/ChainOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <optional>
#include <string_view>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Files.h"
#include "apps/kestrel/TextArgument.h"
#include "apps/kestrel/Values.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/parameters/ParameterCheck.h"
#include "kestrel/parameters/ParameterText.h"

namespace {

constexpr const char* kTextFilter = "Text";
constexpr const char* kMountFilter = "TMFilter.Passpartout.1";

/// Longest chain text that is read, in bytes.
constexpr std::size_t kLongestChainFile = 64 << 20;

/// What is said about texts that a filter does not take up whole: nothing, a line each, or a refusal.
enum class Tell { Nothing, Unread, Strictly };

/// Reports what a filter would ignore in its text. A strict reading refuses that, and reports what is only unusual.
/// `place` says where the text stands.
void TellUnread(const std::string& place, const kestrel::ClassRow& filter, std::string_view text, bool strict) {
    for (const kestrel::TextNote& note : kestrel::CheckParameterText(filter.parameters(), text)) {
        std::string line = fmt::format("{}: {}", place, note.words);
        if (note.fault == kestrel::TextFault::UnknownKey && !line.ends_with('?'))
            line += fmt::format("; \"kestrel describe {}\" lists the keys", kestrel::WordOf(*filter.description));
        if (strict && note.IsRefused()) throw console::UsageError{line + " (--strict)"};
        if (strict || note.IsRefused()) console::Note(line);
    }
}

/// Rotate cuts hundredths of degrees so that -90 becomes -89.99; whoever writes it means a quarter turn.
void TellInexactTurn(const std::string& option, const std::string& word, const std::string& text) {
    constexpr std::string_view kAngle = "Angle=-";
    const std::size_t at = text.find(kAngle);
    if (word != "Rotate" || at == text.npos) return;
    const std::string_view written = std::string_view(text).substr(at + kAngle.size());
    const auto degrees = ParseNumber(written.substr(0, written.find_first_not_of("0123456789.")));
    if (!degrees || *degrees == 0 || std::fmod(*degrees, 90) != 0) return;
    console::Note(fmt::format("{}: Angle=-{:g} turns by -{:.2f} degrees; write Angle={:g} for the exact turn", option,
                              *degrees, *degrees - 0.01, 360 - std::fmod(*degrees, 360)));
}

/// One `-f NAME[:TEXT]`, with its words from `--text-of`.
void AddFilter(kestrel::Rendering& rendering, const std::string& argument, const std::optional<std::string>& words,
               Tell tell) {
    const std::size_t colon = argument.find(':');
    const std::string name = argument.substr(0, colon);
    const std::string option = "-f " + name;
    const kestrel::ClassRow* const filter = kestrel::FindFilter(name);
    if (!filter) throw console::UsageError{"-f: " + UnknownFilter(name)};
    const std::string word = kestrel::WordOf(*filter->description);
    std::optional<std::string> text;
    if (colon != argument.npos) text = argument.substr(colon + 1);
    if (text && text->find_first_of("\t\n") != text->npos)
        throw console::UsageError{
            option + ": a parameter text holds no TAB and no line feed; chain texts are separated by them"};
    if (word == kTextFilter && (text || words))
        text = TextArgument(option, text.value_or(""), words);
    else if (words)
        throw console::UsageError{fmt::format("--text-of: \"{}\" is not a Text filter", argument)};
    if (text && tell != Tell::Nothing) {
        TellUnread(option, *filter, *text, tell == Tell::Strictly);
        TellInexactTurn(option, word, *text);
    }
    if (rendering.FilterCount() >= kestrel::Rendering::kMaximumFilters)
        throw console::Failure{
            fmt::format("{}: a chain holds at most {} filters", option, kestrel::Rendering::kMaximumFilters)};
    if (rendering.AddFilter(filter->description->progId, text ? text->c_str() : nullptr) != kestrel::S_OK)
        throw std::bad_alloc();
}

/// Takes out blank lines, comments, the mark that some editors put at the start of UTF-8 and the carriage returns at
/// line ends; a saved parameter text holds none.
ChainFile Stripped(std::string_view file) {
    if (constexpr std::string_view kMark = "\xEF\xBB\xBF"; file.starts_with(kMark)) file.remove_prefix(kMark.size());
    ChainFile chain;
    for (int number = 1; !file.empty(); ++number) {
        const std::size_t end = file.find('\n');
        std::string_view line = file.substr(0, end);
        file.remove_prefix(line.size());
        const bool ended = !file.empty();
        if (ended) file.remove_prefix(1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.find_first_not_of(" \t") == line.npos || line.starts_with('#')) continue;
        chain.text.append(line).append(ended ? "\n" : "");
        chain.lines.push_back(number);
    }
    return chain;
}

/// The same for each line of a chain that was taken whole.
void TellUnreadLines(const std::string& shown, const ChainFile& chain, bool strict) {
    std::string_view text = chain.text;
    for (const int number : chain.lines) {
        const std::size_t tab = text.find('\t');
        const std::size_t end = text.find('\n');
        TellUnread(fmt::format("{}: line {}", shown, number), *kestrel::FindFilter(text.substr(0, tab)),
                   text.substr(tab + 1, end - tab - 1), strict);
        text.remove_prefix(end + 1);
    }
}

bool IsUtf16(std::string_view text) { return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"); }

std::string ShownChain(const std::string& path) { return path == "-" ? "standard input" : path; }

ChainFile ReadChainFile(const std::string& path) {
    const std::string file = ReadWhole(path, kLongestChainFile);
    if (IsUtf16(file)) throw console::Failure{ShownChain(path) + ": is UTF-16 text; save it as UTF-8"};
    return Stripped(file);
}

void ApplyChain(kestrel::Rendering& rendering, const std::string& shown, const ChainFile& chain, Tell tell) {
    if (const auto fault = rendering.SetChainText(chain.text))
        throw console::Failure{fmt::format("{}: line {}: {}", shown,
                                           chain.lines.at(static_cast<std::size_t>(fault->line - 1)), fault->reason)};
    if (tell != Tell::Nothing) TellUnreadLines(shown, chain, tell == Tell::Strictly);
}

}  // namespace

std::string UnknownFilter(const std::string& name) {
    const std::string near = kestrel::SuggestFilter(name);
    return fmt::format("there is no filter \"{}\"; {}", name,
                       near.empty() ? "\"kestrel filters\" lists them" : fmt::format("did you mean {}?", near));
}

void ChainOptions::AddTo(const Command& command) {
    command.Repeatable("-f,--filter", filters_, 1, "NAME[:TEXT]",
                       "Add a filter, placed by its cost: Sepia, Sepia.1 or\n"
                       "TMFilter.Sepia.1, with a parameter text after a colon;\nmay be given again");
    command.Repeatable("--text-of", texts_, 2, "N WORDS",
                       "The words that a Text filter writes, the Nth -f, counted\n"
                       "from 1; UTF-8 as it stands, \\n is a line break");
    command.Flag("--strict", strict_,
                 "Refuse parameter texts that a filter does not take up whole,\n"
                 "mistyped keys and values for example; else a line tells them");
    command.Option("--chain", chainFile_, "FILE",
                   "Read a chain from a file (-: standard input): a filter a\n"
                   "line, ProgID, TAB, parameter text; blank lines and lines\n"
                   "that begin with # do not count. Its order stays as it\n"
                   "stands, each -f is added to it by cost");
}

std::string ReadChain(const std::string& path, bool strict) {
    const ChainFile chain = ReadChainFile(path);
    kestrel::Rendering rendering;
    ApplyChain(rendering, ShownChain(path), chain, strict ? Tell::Strictly : Tell::Unread);
    return chain.text;
}

std::string ChainOptions::Identity() const {
    std::string identity = chain_.text;
    for (const auto* words : {&filters_, &texts_})
        for (const std::string& word : *words) identity.append(1, '\0').append(word);
    return identity;
}

void ChainOptions::Read() {
    if (HasFile()) chain_ = ReadChainFile(chainFile_);
}

void ChainOptions::ApplyTo(kestrel::Rendering& rendering, const StoredChain* stored, bool tells) const {
    const Tell tell = strict_ ? Tell::Strictly : tells ? Tell::Unread : Tell::Nothing;
    if (stored)
        ApplyChain(rendering, stored->picture + ": its chain", Stripped(stored->text), tell);
    else if (HasFile())
        ApplyChain(rendering, ShownChain(chainFile_), chain_, tell);
    std::vector<std::optional<std::string>> words(filters_.size());
    for (std::size_t i = 0; i + 1 < texts_.size(); i += 2) {
        const auto number = ParseInteger(texts_[i]);
        if (!number || *number < 1 || *number > static_cast<std::int64_t>(filters_.size()))
            throw console::UsageError{
                fmt::format("--text-of: \"{}\" is not the number of an -f; there are {}", texts_[i], filters_.size())};
        words[static_cast<std::size_t>(*number - 1)] = texts_[i + 1];
    }
    for (std::size_t i = 0; i < filters_.size(); ++i) AddFilter(rendering, filters_[i], words[i], tell);
}

void ChainOptions::TellWithPicture(kestrel::Rendering& rendering, double renderScale) const {
    const std::vector<kestrel::LinkGeometry> links = rendering.LinkGeometries();
    const std::string texts = rendering.ChainText(true);
    std::string_view rest = texts;
    for (std::size_t i = 1; i < links.size() && !rest.empty(); ++i) {  // the first link is the picture
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (links[i].progId != kMountFilter) continue;
        std::int32_t radius = 0;  // of the full-size picture
        bool read = false;
        kestrel::ReadIntParameter(line, "Radius", &radius, &read);
        const kestrel::FilterGeometry& mount = links[i].geometry;
        if (radius * renderScale <= std::min(mount.Width, mount.Height)) continue;
        const std::string words = fmt::format("{}: a corner radius of {} reaches beyond the mount of {} x {} pixels",
                                              links[i].progId, radius, mount.Width, mount.Height);
        if (strict_) throw console::UsageError{words + " (--strict)"};
        console::Note(words);
    }
}

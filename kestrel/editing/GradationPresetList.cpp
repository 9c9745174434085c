#include "kestrel/editing/GradationPresetList.h"

#include <algorithm>
#include <iterator>
#include <system_error>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/editing/GradationPreset.h"
#include "kestrel/settings/Folders.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view kNoPreset = "** KEINE";  // begins an entry that stands for no preset

void Log(int line, const std::string& text) { LogLine(-1, "GradationPresetList", line, text); }

char LowerCaseAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// Upper and lower case of the letters that a name may have are the same; others only equal themselves.
bool SameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, LowerCaseAscii, LowerCaseAscii);
}

fs::path FilterFolder() {
    fs::path folder = DataFolder() / "Filter";
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return folder;
}

void MakeFolder(const fs::path& folder, const char* kind) {
    std::error_code error;
    if (fs::create_directory(folder, error))
        Log(__LINE__, std::string("CDlgGradation: Directory for ") + kind + " Presets created\n");
}

bool IsPresetFile(const fs::path& path) {
    std::error_code error;
    return SameName(path.extension().string(), kPresetExtension) && fs::is_regular_file(path, error);
}

std::vector<PresetEntry> ListFolder(const fs::path& folder, bool user) {
    std::vector<PresetEntry> entries;
    std::error_code error;  // a folder that cannot be read has no presets
    for (fs::directory_iterator file(folder, error), end; !error && file != end; file.increment(error))
        if (IsPresetFile(file->path())) entries.push_back({file->path().stem().string(), user, file->path()});
    std::ranges::sort(entries, {}, &PresetEntry::path);
    return entries;
}

}  // namespace

fs::path GradationPresetList::UserFolder() { return FilterFolder() / "Gradation_User"; }

fs::path GradationPresetList::FactoryFolder() {
    const fs::path share = ShareFolder();
    std::error_code error;
    if (fs::path installed = share / "Filter/Gradation_Factory"; !share.empty() && fs::is_directory(installed, error))
        return installed;
    return FilterFolder() / "Gradation_Factory";
}

void GradationPresetList::Open() {
    MakeFolder(UserFolder(), "User");
    MakeFolder(FactoryFolder(), "Factory");
    FillPresetList();
}

void GradationPresetList::FillPresetList() {
    const fs::path selected = selected_ == kNone ? fs::path() : entries_[selected_].path;
    entries_ = ListFolder(FactoryFolder(), false);
    std::ranges::move(ListFolder(UserFolder(), true), std::back_inserter(entries_));
    const auto found = std::ranges::find(entries_, selected, &PresetEntry::path);
    selected_ = found == entries_.end() ? kNone : static_cast<std::size_t>(found - entries_.begin());
}

std::size_t GradationPresetList::IndexOf(std::string_view name) const {
    const auto found = std::ranges::find_if(entries_, [&](const auto& entry) { return SameName(entry.name, name); });
    return found == entries_.end() ? kNone : static_cast<std::size_t>(found - entries_.begin());
}

bool GradationPresetList::LoadSelectedPreset(Gradation& gradation) {
    if (selected_ == kNone) return false;
    const PresetEntry entry = entries_[selected_];
    if (entry.name.starts_with(kNoPreset)) selected_ = kNone;
    if (ReadPreset(entry.path, gradation)) return true;
    questions_.Show({"IDS_GRADCURVES_FILEERROR_HEAD", "IDS_GRADCURVES_FILEERROR", {}, false, true});
    return false;
}

void GradationPresetList::DeleteSelectedPreset() {
    if (!CanDelete()) return;
    const PresetEntry entry = entries_[selected_];
    if (!questions_.Show({"IDS_GRADCURVES_DELETE_PRESET_HEAD", "IDS_GRADCURVES_DELETE_PRESET", entry.name, true}))
        return;
    std::error_code error;
    if (!fs::remove(entry.path, error) && error)
        Log(__LINE__, entry.path.string() + " was not deleted: " + error.message() + "\n");
    FillPresetList();
}

/// Asks until the name is of letters and digits, and free or the user's own to replace.
std::optional<std::string> GradationPresetList::NameToSave() {
    std::string initial = CanDelete() ? entries_[selected_].name : "";
    for (;;) {
        auto name = questions_.AskName(initial);
        if (!name) return std::nullopt;
        initial.clear();
        if (name->find_first_not_of(kNameCharacters) != std::string::npos) {
            questions_.Show({"IDS_GRADCURVES_DISALLOWEDCHARS_HEAD", "IDS_GRADCURVES_DISALLOWEDCHARS", {}, false, true});
            continue;
        }
        if (name->empty()) continue;
        const std::size_t taken = IndexOf(*name);
        if (taken == kNone) return name;
        if (!entries_[taken].user) {
            questions_.Show({"IDS_GRADCURVES_SET_OVERWRITE", "IDS_GRADCURVES_SET_OVERWRITE_FACTORY", *name});
            continue;
        }
        if (questions_.Show({"IDS_GRADCURVES_SET_OVERWRITE", "IDS_GRADCURVES_SET_OVERWRITE_USER", *name, true, true}))
            return name;
        initial = *name;
    }
}

void GradationPresetList::SaveCurrentPreset(const Gradation& gradation) {
    const auto name = NameToSave();
    if (!name) return;
    const fs::path path = UserFolder() / (*name + std::string(kPresetExtension));
    std::error_code ignored;  // the writing tells
    fs::create_directory(path.parent_path(), ignored);
    const std::size_t replaced = IndexOf(*name);
    if (WritePreset(path, gradation) && replaced != kNone && entries_[replaced].path != path)
        fs::remove(entries_[replaced].path, ignored);  // the name in another case
    FillPresetList();
    const auto saved = std::ranges::find(entries_, path, &PresetEntry::path);
    Select(static_cast<std::size_t>(saved - entries_.begin()));
}

}  // namespace kestrel

#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/editing/Gradation.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A box with a message, or with a question that is answered by yes or no. The texts are keys of the strings file; a
/// "%s" in them stands for `name`.
struct PresetBox {
    const char* titleKey;
    const char* textKey;
    std::string name{};
    bool asks = false;     ///< has buttons for yes and no, otherwise one to agree
    bool warning = false;  ///< shows the sign of a warning
};

/// Who asks the user. All texts are UTF-8.
struct IPresetQuestions {
    /// A name for a preset, beginning with `initial`; none when the user gives up.
    virtual std::optional<std::string> AskName(const std::string& initial) = 0;
    /// True for yes.
    virtual bool Show(const PresetBox& box) = 0;

protected:
    ~IPresetQuestions() = default;
};

struct PresetEntry {
    std::string name;  ///< UTF-8
    bool user = false;
    std::filesystem::path path{};
};

/// The saved settings of the gradation editor: those that came with the library, then the user's own, and the one that
/// is selected. Folders and files may come and go at any time. One thread at a time.
class KESTREL_API GradationPresetList {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// Where the presets lie: "Filter/Gradation_User" in the user's data folder; "Filter/Gradation_Factory" in what was
    /// installed with the library, or where nothing was, in the user's data folder. "Filter" is made with each call.
    static std::filesystem::path UserFolder();
    static std::filesystem::path FactoryFolder();

    explicit GradationPresetList(IPresetQuestions& questions) : questions_(questions) {}

    /// Makes the two folders that are missing, says so in the log, and fills the list.
    void Open();
    /// Lists both folders by name. What was selected stays, where it is still there.
    void FillPresetList();
    const std::vector<PresetEntry>& Entries() const { return entries_; }

    /// An index beyond the list selects none.
    void Select(std::size_t i) { selected_ = i < entries_.size() ? i : kNone; }
    std::size_t Selected() const { return selected_; }
    /// Only the user's own presets are deleted.
    bool CanDelete() const { return selected_ != kNone && entries_[selected_].user; }

    /// Reads the selected preset; says so when it is none, and `gradation` stays. False when nothing was read.
    bool LoadSelectedPreset(Gradation& gradation);
    /// Deletes the selected preset when the user agrees. Nothing is selected then.
    void DeleteSelectedPreset();
    /// Asks for a name until it is one that can be used, writes the preset and selects it. Does nothing when the user
    /// gives up.
    void SaveCurrentPreset(const Gradation& gradation);

private:
    std::size_t IndexOf(std::string_view name) const;
    std::optional<std::string> NameToSave();

    IPresetQuestions& questions_;
    std::vector<PresetEntry> entries_;
    std::size_t selected_ = kNone;
};

}  // namespace kestrel

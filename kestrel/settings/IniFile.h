#pragma once
#include <filesystem>
#include <functional>
#include <optional>

#include "kestrel/foundation/Export.h"
#include "kestrel/settings/IniText.h"
#include "kestrel/settings/Status.h"

namespace kestrel {

/// An ini file on disk with its safety copy "<file>.bak": a missing file is put back from the copy, and each change of
/// the file renews the copy. Changes of several processes follow one another; each leaves the file whole.
class KESTREL_API IniFile {
public:
    explicit IniFile(std::filesystem::path file) : file_(std::move(file)) {}

    /// The whole text; `status` says why there is none.
    std::optional<IniText> Read(Status& status) const;
    /// Lets `change` edit the text and writes it; a missing file begins empty. `kSuccess` from `change` means: write.
    Status Change(const std::function<Status(IniText&)>& change) const;

private:
    std::filesystem::path SafetyCopy() const { return file_.string() + ".bak"; }
    void Restore() const;

    std::filesystem::path file_;
};

}  // namespace kestrel

#include "apps/kestrel/BatchPlan.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/OutputPattern.h"
#include "apps/kestrel/PictureBox.h"
#include "apps/kestrel/PictureFiles.h"
#include "apps/kestrel/Stores.h"

namespace fs = std::filesystem;
using kestrel::ImageFormat;

namespace {

struct Source {
    std::string input{};
    std::string folder = ".";
    std::string stem{};
    std::string extension{};
    Size size{};
    std::string problem{};  ///< why it is no input
};

Source SourceOfFile(const fs::path& path) {
    Source source{path.string()};
    if (path.has_parent_path()) source.folder = path.parent_path().string();
    source.stem = path.stem().string();
    source.extension = path.extension().string();
    if (!source.extension.empty()) source.extension.erase(0, 1);
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        source.problem = fmt::format("{}: {}", source.input, std::strerror(errno));
    else if (!S_ISREG(status.st_mode))
        source.problem = source.input + ": is no regular file";
    return source;
}

/// The pictures in a folder and in those below it; links to folders are not followed.
void AddFolder(const std::string& folder, std::vector<Source>& sources) {
    std::error_code error;
    fs::recursive_directory_iterator at(folder, error), end;
    for (; !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename().string();
        std::error_code none;
        if (name.starts_with('.'))
            at.disable_recursion_pending();
        else if (at->is_regular_file(none) && kestrel::FormatOfPath(name) != ImageFormat::Unknown)
            sources.push_back(SourceOfFile(at->path()));
    }
    if (error) sources.push_back({.input = folder, .problem = folder + ": " + error.message()});
}

void AddBoxPictures(const BoxPath& place, std::vector<Source>& sources) {
    PictureBox box(place.box, kestrel::kStorageRead);
    for (const kestrel::PicEntry& entry : box.Matching(place.name)) {
        const StoredPicture picture = box.Describe(entry);
        Source source{place.box + ":" + entry.stream};
        const fs::path folder = fs::path(place.box).parent_path();
        if (!folder.empty()) source.folder = folder.string();
        const std::string told(kestrel::PicExtension(entry.stream));
        source.stem = WithoutExtension(entry.stream);
        const int type = picture.IsFile() ? static_cast<int>(picture.about.format) : 0;
        source.extension = !told.empty() ? told : type != 0 ? kestrel::PicTypeName(type) : "png";
        source.size = {static_cast<int>(picture.about.width), static_cast<int>(picture.about.height)};
        sources.push_back(std::move(source));
    }
}

void AddSources(const std::string& file, bool recursive, std::vector<Source>& sources) {
    std::error_code none;
    if (const auto place = IsPipe(file) ? std::nullopt : FindBoxPath(file, PathUse::Input)) {
        try {
            return AddBoxPictures(*place, sources);
        } catch (const console::Failure& failure) {
            return sources.push_back({.input = file, .problem = failure.message});
        }
    }
    if (!fs::is_directory(file, none)) return sources.push_back(SourceOfFile(file));
    if (recursive) return AddFolder(file, sources);
    sources.push_back({.input = file, .problem = file + ": is a folder; --recursive takes the pictures in it"});
}

std::vector<Source> AllSources(const ApplyOptions& options) {
    std::vector<Source> sources;
    for (const std::string& file : options.files) AddSources(file, options.recursive, sources);
    std::sort(sources.begin(), sources.end(), [](const Source& a, const Source& b) { return a.input < b.input; });
    const auto same = [](const Source& a, const Source& b) { return a.input == b.input; };
    sources.erase(std::unique(sources.begin(), sources.end(), same), sources.end());
    return sources;
}

/// What is under the names of outputs, and what will be.
class Outputs {
public:
    explicit Outputs(const std::vector<Source>& sources) {
        for (const Source& source : sources)
            if (source.problem.empty()) inputs_.emplace(KeyOf(source.input, PathUse::Input), source.input);
    }

    /// The same for every way to write the path of a file or picture.
    static std::string KeyOf(const std::string& path, PathUse use) {
        std::error_code none;
        const auto place = FindBoxPath(path, use);
        if (!place) return fs::weakly_canonical(fs::absolute(path, none), none).string();
        std::string name = kestrel::CleanPicName(place->name);
        const Layout layout = LayoutOf(place->box);
        if (layout == Layout::Compound || layout == Layout::Missing)  // such a box keeps no extensions
            name = WithoutExtension(name);
        for (char& c : name) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        return BoxIdentity(place->box) + ":" + name;
    }

    /// The input that has this output, or is it, other than `input`; null when there is none.
    const std::string* OwnerOf(const std::string& key, const std::string& input) const {
        for (const auto* owners : {&planned_, &inputs_})
            if (const auto found = owners->find(key); found != owners->end() && found->second != input)
                return &found->second;
        return nullptr;
    }

    bool IsThere(const std::string& output) {
        const auto place = FindBoxPath(output, PathUse::Output);
        std::error_code none;  // writing reports why a name cannot be reached
        if (!place) return fs::exists(fs::symlink_status(output, none));
        PictureBox* const box = BoxOf(place->box);
        return box && box->IsTaken(place->name);
    }

    void Take(const std::string& key, const std::string& input) { planned_.emplace(key, input); }

private:
    PictureBox* BoxOf(const std::string& path) {
        const auto [at, isNew] = boxes_.try_emplace(BoxIdentity(path));
        if (isNew && LayoutOf(path) != Layout::Missing)
            at->second = std::make_unique<PictureBox>(path, kestrel::kStorageRead);
        return at->second.get();
    }

    std::map<std::string, std::string> inputs_, planned_;
    std::map<std::string, std::unique_ptr<PictureBox>> boxes_;
};

/// "out.png" and "shop.box:out" with a number before the extension.
std::string NumberedOutput(const std::string& output, int number) {
    const std::size_t name = output.find_last_of("/:") + 1;  // 0 without either
    const std::size_t dot = output.rfind('.');
    const bool extends = dot != output.npos && dot > name;
    const std::string stem = extends ? output.substr(0, dot) : output;
    return NumberedName(stem, number) + (extends ? output.substr(dot) : "");
}

/// Chooses the output's name, or says why there is none.
void ChooseOutput(BatchEntry& entry, const std::string& wanted, Existing existing, const BatchJournal& journal,
                  Outputs& outputs) {
    for (int number = 1;; ++number) {
        entry.output = existing == Existing::Rename ? NumberedOutput(wanted, number) : wanted;
        const std::string key = Outputs::KeyOf(entry.output, PathUse::Output);
        const std::string* const owner = outputs.OwnerOf(key, entry.input);
        const BatchJournal::Known known = journal.Find(entry.input, entry.output);
        const bool isThere = outputs.IsThere(entry.output);
        if (owner && existing == Existing::Rename) continue;
        if (!owner && isThere && known == BatchJournal::Known::Finished) {
            entry.state = BatchEntry::State::Finished;
        } else if (owner) {
            entry.state = BatchEntry::State::Failed;
            entry.problem = fmt::format("{}: its output {} is also the name of {}", entry.input, entry.output, *owner);
            return;
        } else if (isThere && existing == Existing::Replace) {
            entry.mayReplace = true;
        } else if (isThere && known == BatchJournal::Known::Begun) {
            entry.mayReplace = true;  // what an earlier run left when it was stopped
        } else if (isThere && existing == Existing::Skip) {
            entry.state = BatchEntry::State::Skipped;
        } else if (isThere && existing == Existing::Refuse) {
            entry.state = BatchEntry::State::Failed;
            entry.problem = entry.output + ": is there already; --existing says what to do: skip, replace, rename";
        } else if (isThere) {
            continue;  // with a number
        }
        outputs.Take(key, entry.input);
        return;
    }
}

}  // namespace

std::vector<BatchEntry> PlanBatch(const ApplyOptions& options, const ApplyJob& job, const BatchJournal& journal) {
    const OutputPattern pattern(options.output);
    const std::vector<Source> sources = AllSources(options);
    const Existing existing = ParseExisting(options.existing);
    Outputs outputs(sources);
    std::vector<BatchEntry> entries;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const Source& source = sources[i];
        BatchEntry entry{.input = source.input, .problem = source.problem, .size = source.size};
        try {
            if (!entry.problem.empty()) throw console::Failure{entry.problem};
            const std::string extension =
                options.format.empty() ? source.extension : kestrel::PicTypeName(static_cast<int>(job.save.format));
            const std::string wanted = pattern.Expand({source.folder, source.stem, extension, i + 1, sources.size()});
            entry.format = options.format.empty() ? FormatOfOutput(wanted) : job.save.format;
            ChooseOutput(entry, wanted, existing, journal, outputs);
        } catch (const console::Failure& failure) {
            entry.state = BatchEntry::State::Failed;
            entry.problem = failure.message;
        }
        if (i % job.shards == job.shard) entries.push_back(std::move(entry));
    }
    return entries;
}

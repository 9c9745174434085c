#include <fmt/format.h>

#include <memory>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/foundation/CodePage.h"
#include "kestrel/settings/RegistryKeys.h"

namespace {

using kestrel::Status;

struct Options {
    std::string branch = "user";
    std::string key;
    std::string name;
    std::string text;
    bool bytes = false;
};

kestrel::HKEY BranchOf(const Options& options) {
    if (options.branch == "user") return kestrel::HKEY_CURRENT_USER;
    if (options.branch == "all") return kestrel::HKEY_LOCAL_MACHINE;
    if (options.branch == "classes") return kestrel::HKEY_CLASSES_ROOT;
    throw console::UsageError{fmt::format("--branch: \"{}\" is not user, all or classes", options.branch)};
}

/// A person's key: slashes part the names where no backslash does.
std::string KeyOf(std::string key) {
    if (key.find('\\') == std::string::npos)
        for (char& c : key)
            if (c == '/') c = '\\';
    return key;
}

/// Texts of the product are Windows-1252, paths are bytes of the system.
std::string Shown(const std::string& bytes) { return kestrel::IsUtf8(bytes) ? bytes : kestrel::Utf8From1252(bytes); }

std::string Stored(const Options& options) {
    if (options.bytes) return options.text;
    std::string text = kestrel::Windows1252FromUtf8(options.text);
    if (kestrel::Utf8From1252(text) != options.text)
        throw console::UsageError{
            "settings: the text has characters that Windows-1252 lacks; --bytes stores it as it is"};
    return text;
}

[[noreturn]] void Fail(const std::string& what, Status status) {
    const char* why = "the store cannot be read";
    if (status == kestrel::kKeyMissing) why = "there is no such key";
    if (status == kestrel::kKeyNotWritable || status == kestrel::kKeyNotCreated) why = "the store cannot be written";
    throw console::Failure{fmt::format("settings: {}: {}", Shown(what), why)};
}

void Get(const Options& options) {
    const std::string key = KeyOf(options.key);
    kestrel::RegistryContents contents;
    if (const Status status = RegistryList(BranchOf(options), key.c_str(), contents); status != kestrel::kSuccess)
        Fail(key, status);
    kestrel::QvString text;
    if (RegistryRead(BranchOf(options), key.c_str(), options.name.c_str(), text) != kestrel::kSuccess)
        throw console::Failure{fmt::format("settings: {}: there is no \"{}\"", Shown(key), options.name)};
    console::Print(Shown(std::string(text)) + '\n');
}

void Set(const Options& options) {
    const std::string key = KeyOf(options.key);
    const Status status = RegistryWrite(BranchOf(options), {{key, options.name, Stored(options)}});
    if (status != kestrel::kSuccess) Fail(key, status);
}

void List(kestrel::HKEY branch, const std::string& key) {
    kestrel::RegistryContents contents;
    const Status status = RegistryList(branch, key.c_str(), contents);
    if (key.empty() && status == kestrel::kKeyMissing) return;  // nothing was ever written
    if (status != kestrel::kSuccess) Fail(key, status);
    if (!contents.texts.empty()) {
        console::Print(fmt::format("[{}]\n", Shown(key)));
        for (const auto& [name, text] : contents.texts)
            console::Print(fmt::format("{}={}\n", Shown(name), Shown(text)));
        console::Print("\n");
    }
    for (const auto& name : contents.subkeys) List(branch, key.empty() ? name : key + "\\" + name);
}

}  // namespace

void AddSettings(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("settings", "Look at settings, and change them");
    command.Footer(
        "A key is a path of names: Software/Company/Product/Version/Section.\n\n"
        "Examples:\n  kestrel settings list\n"
        "  kestrel settings get Software/TMGallery/Datapaths ActivePath\n"
        "  kestrel settings get --branch classes TMFilter.Invert/CurVer ''\n\n"
        "Classes are there once a program has registered the filters.");

    const Command get = command.Subcommand("get", "Print a text");
    const Command set = command.Subcommand("set", "Write a text");
    const Command list = command.Subcommand("list", "Print all texts of a key and of the keys below it");
    for (const Command& one : {get, set}) {
        one.Argument("KEY", options->key, "The key");
        one.Argument("NAME", options->name, "The text's name; empty for the key's own text");
    }
    set.Argument("TEXT", options->text, "What to write");
    set.Flag("--bytes", options->bytes, "Store the text's bytes as they are, not as Windows-1252 (for paths)");
    list.OptionalArgument("KEY", options->key, "The key; all keys without one");
    for (const Command& one : {get, set, list})
        one.Option("--branch", options->branch, "user|all|classes",
                   "Whose settings: this user's (the default), all users' or those of classes");

    const auto run = [options](auto work) {
        return [options, work] {
            work(*options);
            return int{console::kDone};
        };
    };
    get.Run(Command::Log::kNo, run(Get));
    set.Run(Command::Log::kYes, run(Set));
    list.Run(Command::Log::kNo, run([](const Options& o) { List(BranchOf(o), KeyOf(o.key)); }));
}

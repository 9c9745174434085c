#include <fmt/format.h>

#include <memory>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/foundation/CodePage.h"
#include "kestrel/settings/RegistryKeys.h"

namespace {

using kestrel::Status;

struct Options {
    kestrel::HKEY branch = kestrel::HKEY_CURRENT_USER;
    std::string key;
    std::string name;
    std::string text;
    bool bytes = false;
};

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
    if (const Status status = RegistryList(options.branch, key.c_str(), contents); status != kestrel::kSuccess)
        Fail(key, status);
    kestrel::QvString text;
    if (RegistryRead(options.branch, key.c_str(), options.name.c_str(), text) != kestrel::kSuccess)
        throw console::Failure{fmt::format("settings: {}: there is no \"{}\"", Shown(key), options.name)};
    fmt::print("{}\n", Shown(std::string(text)));
}

void Set(const Options& options) {
    const std::string key = KeyOf(options.key);
    const Status status = RegistryWrite(options.branch, {{key, options.name, Stored(options)}});
    if (status != kestrel::kSuccess) Fail(key, status);
}

void List(kestrel::HKEY branch, const std::string& key) {
    kestrel::RegistryContents contents;
    const Status status = RegistryList(branch, key.c_str(), contents);
    if (key.empty() && status == kestrel::kKeyMissing) return;  // nothing was ever written
    if (status != kestrel::kSuccess) Fail(key, status);
    if (!contents.texts.empty()) {
        fmt::print("[{}]\n", Shown(key));
        for (const auto& [name, text] : contents.texts) fmt::print("{}={}\n", Shown(name), Shown(text));
        fmt::print("\n");
    }
    for (const auto& name : contents.subkeys) List(branch, key.empty() ? name : key + "\\" + name);
}

void AddBranch(CLI::App& command, Options& options) {
    const std::map<std::string, kestrel::HKEY> branches = {{"user", kestrel::HKEY_CURRENT_USER},
                                                           {"all", kestrel::HKEY_LOCAL_MACHINE},
                                                           {"classes", kestrel::HKEY_CLASSES_ROOT}};
    command.add_option("--branch", options.branch, "user (the default), all (all users) or classes")
        ->transform(CLI::Transformer(branches, CLI::ignore_case).description(""))
        ->type_name("BRANCH");
}

}  // namespace

void AddSettings(CLI::App& program) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand("settings", "Look at settings, and change them");
    command.require_subcommand(1);
    command.footer(
        "A key is a path of names: Software/Company/Product/Version/Section.\n\n"
        "Examples:\n  kestrel settings list\n  kestrel settings get Software/Classes/TMFilter.Invert CurVer");

    CLI::App& get = *command.add_subcommand("get", "Print a text");
    CLI::App& set = *command.add_subcommand("set", "Write a text");
    CLI::App& list = *command.add_subcommand("list", "Print all texts of a key and of the keys below it");
    for (CLI::App* one : {&get, &set}) {
        one->add_option("KEY", options->key, "The key")->required()->type_name("");
        one->add_option("NAME", options->name, "The text's name; empty for the key's own text")
            ->required()
            ->type_name("");
    }
    set.add_option("TEXT", options->text, "What to write")->required()->type_name("");
    set.add_flag("--bytes", options->bytes, "Store the text's bytes as they are, not as Windows-1252 (for paths)");
    list.add_option("KEY", options->key, "The key; all keys without one")->type_name("");
    for (CLI::App* one : {&get, &set, &list}) AddBranch(*one, *options);
    get.final_callback([options] { Get(*options); });
    set.final_callback([options] { Set(*options); });
    list.final_callback([options] { List(options->branch, KeyOf(options->key)); });
}

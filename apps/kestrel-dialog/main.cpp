// Shows the dialog of one filter beside a live view of a picture; OK prints the parameter text.
#include <fmt/format.h>

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/dialogs/DialogText.h"
#include "kestrel/dialogs/DialogWindow.h"
#include "kestrel/host/Catalogue.h"

namespace {

enum ExitCode { kAccepted = 0, kNotDone = 1, kUsage = 2 };

constexpr const char* kHelp =
    "kestrel-dialog FILTER [IN] [--text TEXT] [--lang LANG]\n"
    "Shows the dialog of a filter beside the picture IN (\"-\": standard input). OK prints the parameter text,\n"
    "Cancel prints nothing and ends with 1. `kestrel dialog` runs this program.\n";

/// A command line or a file that cannot be used, with the program's exit code.
struct Failure {
    int code;
    std::string message;
};

struct Arguments {
    std::vector<std::string> words;
    std::string text;
    std::optional<kestrel::Language> language;
};

/// Byte for byte, since a name of a file and a parameter text may hold any.
Arguments Read(const std::vector<std::string>& given) {
    Arguments arguments;
    bool options = true;
    for (std::size_t i = 0; i < given.size(); ++i) {
        const std::string& word = given[i];
        if (options && word == "--") {
            options = false;
        } else if (options && (word == "--text" || word == "--lang")) {
            if (++i == given.size()) throw Failure{kUsage, word + ": its value is missing"};
            if (word == "--text") {
                arguments.text = given[i];
                continue;
            }
            arguments.language = kestrel::ParseLanguage(given[i]);
            if (!arguments.language)
                throw Failure{kUsage, fmt::format("--lang: there are no texts in \"{}\"", given[i])};
        } else if (options && word.size() > 1 && word.front() == '-') {
            throw Failure{kUsage, fmt::format("unknown option {}; --help tells the others", word)};
        } else {
            arguments.words.push_back(word);
        }
    }
    if (arguments.words.empty() || arguments.words.size() > 2)
        throw Failure{kUsage, "a filter and at most one picture are expected; --help tells more"};
    if (arguments.text.find_first_of("\t\n") != std::string::npos)
        throw Failure{kUsage, "--text: a parameter text holds no TAB and no line feed"};
    return arguments;
}

kestrel::Picture Load(const std::string& path) {
    kestrel::LoadResult loaded = path == "-" ? kestrel::ImageLoader::Load(stdin) : kestrel::ImageLoader::Load(path);
    for (const std::string& warning : loaded.warnings) fmt::print(stderr, "kestrel-dialog: {}: {}\n", path, warning);
    if (!loaded) throw Failure{kNotDone, path + ": " + loaded.error.text};
    return {std::move(loaded.image), std::move(loaded.mask)};
}

/// Qt ends a program that finds no display by `abort`; this tells why and ends it in order. Other messages stay Qt's.
void EndInOrder(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type != QtFatalMsg) return;
    fmt::print(stderr, "kestrel-dialog: no window can be opened: {}\n", text.simplified().toStdString());
    std::_Exit(kNotDone);
}

int Run(int argc, char** argv) {
    const Arguments arguments = Read({argv + 1, argv + argc});
    const kestrel::ClassRow* const filter = kestrel::FindFilter(arguments.words[0]);
    if (!filter) throw Failure{kUsage, fmt::format("there is no filter \"{}\"", arguments.words[0])};
    kestrel::Picture picture;
    if (arguments.words.size() > 1) picture = Load(arguments.words[1]);

    const auto previous = qInstallMessageHandler(EndInOrder);
    int noArguments = 1;  // the command line is not Qt's
    const QApplication application(noArguments, argv);
    qInstallMessageHandler(previous);
    if (arguments.language) kestrel::SetDialogLanguage(*arguments.language);
    const auto window = kestrel::DialogWindow::Make(filter->description->progId, std::move(picture), arguments.text);
    if (!window) throw Failure{kNotDone, arguments.words[0] + ": this filter has no dialog"};
    bool accepted = false;
    QObject::connect(window.get(), &kestrel::DialogWindow::Finished, [&](bool ok) {
        accepted = ok;
        QApplication::quit();
    });
    window->show();
    QApplication::exec();
    if (!accepted) return kNotDone;
    const std::string line = window->ParameterText() + '\n';
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size() || std::fflush(stdout) != 0)
        throw Failure{kNotDone, "standard output cannot be written"};
    return kAccepted;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) return std::fputs(kHelp, stdout) < 0 ? kNotDone : kAccepted;
    try {
        return Run(argc, argv);
    } catch (const Failure& failure) {
        fmt::print(stderr, "kestrel-dialog: {}\n", failure.message);
        return failure.code;
    } catch (const std::bad_alloc&) {
        std::fputs("kestrel-dialog: there is not enough memory\n", stderr);
        return kNotDone;
    }
}

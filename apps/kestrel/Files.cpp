#include "apps/kestrel/Files.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"

std::string ReadWhole(const std::string& path, std::size_t longest) {
    const bool piped = path == "-";
    const std::string shown = piped ? "standard input" : path;
    const auto close = [piped](std::FILE* file) {
        if (!piped) std::fclose(file);
    };
    const std::unique_ptr<std::FILE, decltype(close)> file(piped ? stdin : std::fopen(path.c_str(), "rb"), close);
    if (!file) throw console::Failure{fmt::format("{}: cannot be opened: {}", shown, std::strerror(errno))};
    std::string bytes;
    char block[1 << 16];
    for (;;) {
        const std::size_t got = std::fread(block, 1, sizeof block, file.get());
        if (std::ferror(file.get()))
            throw console::Failure{fmt::format("{}: cannot be read: {}", shown, std::strerror(errno))};
        bytes.append(block, got);
        if (bytes.size() > longest)
            throw console::Failure{fmt::format("{}: is longer than {} MiB", shown, longest >> 20)};
        if (got < sizeof block) return bytes;
    }
}

std::unique_ptr<std::FILE, StreamCloser> InterruptibleStream(std::FILE* target) {
    struct stat status {};
    const bool regular = fstat(fileno(target), &status) == 0 && S_ISREG(status.st_mode);
    const auto seek = [](void* in, off64_t* offset, int from) -> int {
        auto* const file = static_cast<std::FILE*>(in);
        if (fseeko(file, *offset, from) != 0) return -1;
        *offset = ftello(file);
        return *offset < 0 ? -1 : 0;
    };
    const cookie_io_functions_t functions{
        .read = nullptr,
        .write = [](void* to, const char* bytes, std::size_t size) -> ssize_t {
            if (!interrupt::Happened())
                return static_cast<ssize_t>(std::fwrite(bytes, 1, size, static_cast<std::FILE*>(to)));
            errno = EINTR;
            return 0;  // an error, to the stream
        },
        .seek = regular ? static_cast<cookie_seek_function_t*>(seek) : nullptr,
        .close = nullptr};
    return std::unique_ptr<std::FILE, StreamCloser>(fopencookie(target, "wb", functions));
}

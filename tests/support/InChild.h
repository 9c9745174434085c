#pragma once
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <stdexcept>
#include <string>

namespace kestrel::test {

/// Runs `work` in a process of its own and returns its text: what is one for a process, the log above
/// all, starts afresh there. Expectations belong into the caller.
template <class Work>
std::string InChild(const Work& work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        std::string text;
        try {
            text = work();
        } catch (const std::exception& error) {
            text = std::string("exception: ") + error.what();
        }
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = write(ends[1], text.data() + done, text.size() - done);
            if (count <= 0) break;
            done += static_cast<std::size_t>(count);
        }
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char chunk[4096];
    for (ssize_t count; (count = read(ends[0], chunk, sizeof chunk)) > 0;)
        text.append(chunk, static_cast<std::size_t>(count));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) text += "\nchild ended with status " + std::to_string(status);
    return text;
}

}  // namespace kestrel::test

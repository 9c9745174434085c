#pragma once
#include <functional>
#include <list>

/// Ctrl-C and a polite kill. By default the program ends at once: it has nothing to keep and no
/// half-written file. While a request runs it is aborted; while a file is written, the file is abandoned, so that
/// nothing remains of it.
namespace interrupt {

/// Begins to listen; called once, before anything else.
void Listen();

/// For the length of a scope an interruption calls `stop`, from another thread, and does not end the program. Any
/// thread may have scopes of its own.
class Stoppable {
public:
    explicit Stoppable(std::function<void()> stop);
    ~Stoppable();
    Stoppable(const Stoppable&) = delete;
    Stoppable& operator=(const Stoppable&) = delete;

private:
    std::list<std::function<void()>>::iterator entry_;
};

/// For the length of a scope an interruption is only remembered; the work looks at `Happened` by itself.
class Remembered : Stoppable {
public:
    Remembered() : Stoppable([] {}) {}
};

/// Was the program interrupted?
bool Happened();
/// What it then ends with: 130 for Ctrl-C, 143 for a polite kill.
int ExitCode();

}  // namespace interrupt

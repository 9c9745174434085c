#include "apps/kestrel/Interrupt.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

#include "apps/kestrel/Console.h"

namespace interrupt {
namespace {

std::mutex guard;
std::list<std::function<void()>> stopWork;  // empty: nothing runs that would have to end in order
std::atomic<int> caught{0};

void Wait(sigset_t signals) {
    for (int signal = 0; sigwait(&signals, &signal) == 0;) {
        const std::lock_guard lock(guard);
        caught = signal;
        for (const auto& stop : stopWork) stop();
        if (stopWork.empty()) {
            console::ClearProgress();
            _exit(ExitCode());
        }
    }
}

}  // namespace

void Listen() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // all threads that begin later block them as well
    try {
        std::thread(Wait, signals).detach();
    } catch (const std::system_error&) {  // no thread to spare: an interruption then ends the program as it would any
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    }
}

Stoppable::Stoppable(std::function<void()> stop) {
    const std::lock_guard lock(guard);
    entry_ = stopWork.insert(stopWork.end(), std::move(stop));
    if (caught) (*entry_)();
}

Stoppable::~Stoppable() {
    const std::lock_guard lock(guard);
    stopWork.erase(entry_);
}

bool Happened() { return caught != 0; }

int ExitCode() { return 128 + caught; }

}  // namespace interrupt

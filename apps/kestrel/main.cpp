#include <fcntl.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include "apps/kestrel/CommandLine.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"

namespace {

/// Takes the place of standard streams that the caller closed, so that no file that is opened later becomes one of
/// them. Each is opened the wrong way round: reading or writing it fails, as it would have.
void OccupyStandardStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

/// Has the heap keep what the next band of a picture needs again, instead of giving it back to the system after each:
/// new pages cost more than what is done with many of them. Whole pictures still come and go.
void KeepBuffers() {
    mallopt(M_MMAP_THRESHOLD, 4 << 20);  // bytes
    mallopt(M_TRIM_THRESHOLD, 32 << 20);
}

}  // namespace

int main(int argc, char** argv) {
    KeepBuffers();
    OccupyStandardStreams();
    signal(SIGPIPE, SIG_IGN);  // a reader that goes away, and a file that grows beyond the process' limit,
    signal(SIGXFSZ, SIG_IGN);  // become errors of writing, which are reported
    interrupt::Listen();
    const int code = RunCommandLine(argc, argv,
                                    {AddComplete, AddManual, AddApply, AddInfo, AddFilters, AddFormats, AddDescribe,
                                     AddDialog, AddColor, AddStrings, AddBox, AddStore, AddSettings, AddLog});
    console::ClearProgress();
    return code;
}

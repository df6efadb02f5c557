#include "system/StopSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/posix/Descriptor.h"
#include "system/posix/StopDescriptor.h"

namespace {

static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes it");
constinit std::atomic<int> stopSignal{0};
// Becomes readable with the first stop signal; -1 while none is caught. Open to the end.
constinit std::atomic<int> stopDescriptor{-1};

// A signal needs no thread that runs: all of them may be held. One that others send before a stop
// request has its default effect.
extern "C" void EndHeldProcess(int signalNumber) {
    if (HostStopExitCode() != 0) {
        _exit(HostStopExitCode());
    }
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

extern "C" void RememberStop(int signalNumber) {
    int none = 0;
    const int savedError = errno;
    eventfd_write(stopDescriptor.load(), 1);
    errno = savedError;
    if (stopSignal.load() == 0) {
        alarm(kHostStopGraceSeconds);
    }
    if (!stopSignal.compare_exchange_strong(none, signalNumber)) {
        // The second request takes its default effect, when this returns.
        std::signal(signalNumber, SIG_DFL);
        std::raise(signalNumber);
    }
}

// Also where the process was started with this signal blocked.
void CatchAlarm() {
    struct sigaction action {};
    action.sa_handler = EndHeldProcess;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
}

}  // namespace

int StopDescriptor() {
    return stopDescriptor.load();
}

void HostCatchStopSignals() {
    CatchAlarm();
    if (stopDescriptor.load() < 0) {
        stopDescriptor.store(BesideStandardStreams(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
    }
    struct sigaction action {};
    action.sa_handler = RememberStop;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(signalNumber, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(signalNumber, &action, nullptr);
        }
    }
}

int HostStopExitCode() {
    const int signalNumber = stopSignal.load();
    return signalNumber == 0 ? 0 : 128 + signalNumber;
}

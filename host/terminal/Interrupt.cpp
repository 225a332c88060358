#include "host/terminal/Interrupt.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <string_view>
#include <unistd.h>

namespace w64 {

namespace {

std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may only use lock-free atomics");

std::atomic<time_t> receivedAt = 0;
std::atomic<int> holds = 0;

constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kFaults[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};

time_t Seconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// Called by a signal handler, so it uses system calls only.
void TellOfHold() {
    constexpr std::string_view text =
        "w64: cannot stop now, the file is being edited in place; w64 stops after the edit\n";
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
    errno = error;
}

// The first signal ends the work in order. A later one, from a person who saw nothing happen, ends the program at
// once. Some senders signal a process and then its whole group, so a second one within a second does not count.
void Receive(int signal) {
    if (holds > 0) TellOfHold();
    if (received == 0) {
        receivedAt = Seconds();
        received = signal;
    } else if (holds == 0 && Seconds() - receivedAt > 1) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

// Signals that the program was started to ignore, as by nohup, stay ignored.
void Watch(int signal, const struct sigaction& action) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
}

}  // namespace

void Interrupt::Install() {
    struct sigaction action {};
    action.sa_handler = Receive;
    sigemptyset(&action.sa_mask);
    for (const int signal : kRequests) Watch(signal, action);

    // A closed pipe and a file over its size limit then are failed writes like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

int Interrupt::Signal() { return received; }

void Interrupt::Check() {
    if (received != 0) throw Interrupt();
}

Interrupt::Hold::Hold() {
    sigset_t held;
    sigfillset(&held);
    for (const int signal : kRequests) sigdelset(&held, signal);  // their handler says that they wait
    for (const int signal : kFaults) sigdelset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
    ++holds;
}

Interrupt::Hold::~Hold() {
    --holds;
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace w64

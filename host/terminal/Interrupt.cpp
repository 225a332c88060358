#include "host/terminal/Interrupt.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <string_view>
#include <unistd.h>

namespace w64 {

namespace {

std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "the handler may touch nothing else");

std::atomic<time_t> receivedAt = 0;
std::atomic<int> holds = 0;

constexpr int kAsking[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int kFaults[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};

time_t Seconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// Called by a handler, so by system calls alone.
void TellOfHold() {
    constexpr std::string_view text =
        "w64: cannot stop now, the file is being edited in place; w64 stops after that\n";
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
    errno = error;
}

// The first signal ends the work in order. One that comes later, as nothing seems to happen, ends the program at
// once; some senders signal a process and then its whole group, which is the same signal twice.
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

// Not those that whoever started the program wants it to ignore, as nohup does.
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
    for (const int signal : kAsking) Watch(signal, action);

    // A reader that has gone away and a file over its limit are failed writes like any other.
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
    for (const int signal : kAsking) sigdelset(&held, signal);  // their handler tells that they wait
    for (const int signal : kFaults) sigdelset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
    ++holds;
}

Interrupt::Hold::~Hold() {
    --holds;
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace w64

#include "host/Interrupt.h"

#include <atomic>
#include <csignal>
#include <ctime>

namespace {

std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "the handler may touch nothing else");

std::atomic<time_t> receivedAt = 0;

time_t Seconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// The first signal ends the work in order. One that comes later, as nothing seems to happen, ends the program at
// once; some senders signal a process and then its whole group, which is the same signal twice.
void Receive(int signal) {
    if (received == 0) {
        receivedAt = Seconds();
        received = signal;
    } else if (Seconds() - receivedAt > 1) {
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
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Watch(signal, action);

    // A reader that has gone away and a file over its limit are failed writes like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

int Interrupt::Signal() { return received; }

void Interrupt::Check() {
    if (received != 0) throw Interrupt();
}

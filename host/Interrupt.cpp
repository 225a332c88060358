#include "host/Interrupt.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "the handler may touch nothing else");

void Receive(int signal) { received = signal; }

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
    action.sa_flags = static_cast<int>(SA_RESETHAND);
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

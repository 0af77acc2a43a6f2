// SPDX-License-Identifier: BSD-3-Clause
#include "quit_signal.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace qz::tools {

namespace {

int pipe_ends[2] = {-1, -1};

void write_a_byte(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(pipe_ends[1], &byte, 1);
}

} // namespace

void on_quit_signal(QObject* context, std::function<void()> fn)
{
    if (::pipe2(pipe_ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(pipe_ends[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [fn = std::move(fn)] {
        char bytes[16];
        while (::read(pipe_ends[0], bytes, sizeof bytes) > 0) {}
        fn();
    });
    struct sigaction action = {};
    action.sa_handler = write_a_byte;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A program started with the signals blocked gets those already sent now, and later ones.
    sigset_t quit_signals;
    sigemptyset(&quit_signals);
    sigaddset(&quit_signals, SIGINT);
    sigaddset(&quit_signals, SIGTERM);
    pthread_sigmask(SIG_UNBLOCK, &quit_signals, nullptr);
}

} // namespace qz::tools

#include "shell/kit/sig_dispatch.h"

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int sPipe[2] = {-1, -1};
std::array<std::function<void()>, 65> sHandlers;

void on_signal(int signo)
{
    const int saved = errno;
    const unsigned char b = static_cast<unsigned char>(signo);
    [[maybe_unused]] ssize_t n = ::write(sPipe[1], &b, 1);
    errno = saved;
}

void ensure_pipe()
{
    if (sPipe[0] >= 0)
        return;
    if (::pipe2(sPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(sPipe[0], QSocketNotifier::Read);
    QObject::connect(notifier, &QSocketNotifier::activated, [] {
        unsigned char b;
        while (::read(sPipe[0], &b, 1) == 1)
            if (b < sHandlers.size() && sHandlers[b])
                sHandlers[b]();
    });
}
}  // namespace

void sig_watch(int signo, std::function<void()> fn)
{
    ensure_pipe();
    sHandlers[static_cast<std::size_t>(signo)] = std::move(fn);
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    ::sigaction(signo, &sa, nullptr);
}

#include "quit_signals.h"

#include <QSocketNotifier>

#ifdef Q_OS_UNIX
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace velora::QuitSignals {

#ifdef Q_OS_UNIX
namespace {
int wake[2] = {-1, -1};
std::atomic<bool> caught{false};

void onSignal(int)
{
    caught = true;
    const char byte = 1;
    [[maybe_unused]] const auto n = ::write(wake[0], &byte, 1); // async-signal-safe
}
} // namespace

void install()
{
    if (wake[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM, 0, wake) != 0) return;
    for (int fd : wake) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK); // a flood of signals never blocks
    }
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &action, nullptr);
}

void attach(QCoreApplication& app)
{
    install();
    if (wake[1] < 0) return;
    auto* notifier = new QSocketNotifier(wake[1], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char bytes[64];
        while (::read(wake[1], bytes, sizeof bytes) > 0) {
        }
        app.quit();
    });
}

bool received() { return caught; }
#else
void install() {}
void attach(QCoreApplication&) {}
bool received() { return false; }
#endif

} // namespace velora::QuitSignals

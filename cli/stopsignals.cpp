#include "stopsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int g_pipe[2] = {-1, -1};
struct sigaction g_previous[2];
constexpr int kSignals[2] = {SIGINT, SIGTERM};

void onSignal(int number)
{
    const char byte = char(number);
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[0], &byte, 1);
}
} // namespace

StopSignals::StopSignals(QObject* parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_pipe) != 0)
        return;
    m_notifier = new QSocketNotifier(g_pipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (::read(g_pipe[1], &byte, 1) == 1)
            emit stopRequested(int(byte));
    });
    for (int i = 0; i < 2; ++i) {
        struct sigaction action = {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(kSignals[i], &action, &g_previous[i]);
    }
}

StopSignals::~StopSignals()
{
    if (!m_notifier)
        return;
    for (int i = 0; i < 2; ++i)
        sigaction(kSignals[i], &g_previous[i], nullptr);
    delete m_notifier;
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
}

#include "tools/rigsim/signals.h"

#include <initializer_list>

namespace rigsim
{
namespace
{

bool isIgnored(int signal)
{
    struct sigaction action
    {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

}  // namespace

Signals::Signals(bool serves)
{
    sigemptyset(&m_waited);
    sigemptyset(&m_toDefault);
    sigaddset(&m_waited, SIGTERM);
    if (!isIgnored(SIGHUP)) sigaddset(&m_waited, SIGHUP);  // nohup
    std::signal(SIGPIPE, SIG_IGN);  // a reader that goes does not take the rig with it
    if (serves) {
        sigaddset(&m_waited, SIGINT);
    } else {
        std::signal(SIGCHLD, SIG_DFL);
        sigaddset(&m_waited, SIGCHLD);
        sigaddset(&m_toDefault, SIGPIPE);
        for (const int signal : {SIGINT, SIGQUIT}) {
            if (isIgnored(signal)) continue;
            std::signal(signal, SIG_IGN);
            sigaddset(&m_toDefault, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &m_waited, &m_originalMask);
}

int Signals::wait() const
{
    int signal = -1;
    while (signal < 0) signal = sigwaitinfo(&m_waited, nullptr);  // EINTR: stopped and continued
    return signal;
}

}  // namespace rigsim

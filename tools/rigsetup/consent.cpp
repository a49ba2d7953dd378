#include "tools/rigsetup/consent.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "common/interrupt.h"

namespace rigsetup
{
namespace
{

/// A line of standard input; empty at its end, or when it cannot be waited for.
std::string readAnswer()
{
    pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {quill::interruptDescriptor(), POLLIN, 0}};
    while (::poll(ready, 2, -1) < 0)
        if (errno != EINTR) return "";
    quill::heedInterrupt();
    char text[64] = "";
    const ssize_t got = ::read(STDIN_FILENO, text, sizeof text);
    return got > 0 ? std::string(text, static_cast<size_t>(got)) : "";
}

}  // namespace

Consent Asker::ask(const std::string& change) const
{
    std::puts(change.c_str());
    if (m_isDryRun) {
        std::puts("Nothing is changed: --dry-run.");
        return Consent::DryRun;
    }
    if (m_isAgreed) return Consent::Given;
    if (::isatty(STDIN_FILENO) == 0) {
        std::fputs("rigsetup: nobody can be asked, nothing is changed (--yes agrees beforehand)\n",
                   stderr);
        return Consent::Refused;
    }
    std::fputs("Go on? [y/N] ", stdout);
    std::fflush(stdout);
    const std::string answer = readAnswer();
    if (answer == "y\n" || answer == "Y\n" || answer == "yes\n") return Consent::Given;
    std::puts("Nothing is changed.");
    return Consent::Refused;
}

}  // namespace rigsetup

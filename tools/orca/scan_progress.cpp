#include "scan_progress.h"

#include <unistd.h>

#include <cstdio>

#include "log.h"

using quill::Duration;
using quill::Time;

namespace
{

constexpr Duration kInterval = quill::milliseconds(200);
constexpr const char* kEraseLine = "\r\033[K";

}  // namespace

ScanProgress::ScanProgress(int lastBaudNumber, int lastId)
    : m_lastBaudNumber(lastBaudNumber),
      m_lastId(lastId),
      m_enabled(::isatty(STDERR_FILENO) != 0 && !quill::isLoggerEnabled(kTrace, kLogCategory))
{
    if (!m_enabled) return;
    m_start = Time::now();
    m_next = m_start + kInterval;
    m_eraseWhenInterrupted.emplace([this] { erase(); });
}

ScanProgress::~ScanProgress()
{
    erase();
}

void ScanProgress::show(int baudNumber, int id)
{
    if (!m_enabled || Time::now() < m_next) return;
    const Time now = Time::now();
    m_next = now + kInterval;
    m_shown = true;

    const double idsPerRate = m_lastId + 1.0;
    const double done = ((baudNumber - 1) * idsPerRate + id) / (m_lastBaudNumber * idsPerRate);
    const double elapsed = (now - m_start).seconds();
    const double left = done > 0 ? elapsed / done - elapsed : 0;
    // The cursor goes back to the start of the line: what is logged meanwhile begins there.
    std::fprintf(stderr, "%sbaud number %d of %d, ID %d of %d, %.0f %%, %.0f s left\r", kEraseLine,
                 baudNumber, m_lastBaudNumber, id, m_lastId, 100 * done, left);
}

void ScanProgress::erase()
{
    if (m_shown) std::fputs(kEraseLine, stderr);
    m_shown = false;
}

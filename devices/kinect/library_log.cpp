#include "library_log.h"

#include "common/logging.h"
#include "kinect_failure.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "kinect";

}  // namespace

LibraryLog& LibraryLog::install()
{
    static LibraryLog* const installed = [] {
        auto* const made = new LibraryLog;
        libfreenect2::setGlobalLogger(made);  // owns it
        return made;
    }();
    return *installed;
}

LibraryLog::Level LibraryLog::level() const
{
    return isLoggerEnabled(kTrace, kCategory) ? Info : Error;
}

void LibraryLog::log(Level level, const std::string& message)
{
    // The library calls for every level, with dozens of debug lines a second, whatever level()
    // says.
    if (level > this->level()) return;
    QUILL_LOG(kTrace, kCategory) << "libfreenect2: " << message;
    if (level != Error) return;
    const std::lock_guard lock(m_mutex);
    const bool tellsMore = tellsOfMissingPermission(message) && !tellsOfMissingPermission(m_cause);
    if (m_cause.empty() || tellsMore) m_cause = message;
}

void LibraryLog::forgetErrors()
{
    const std::lock_guard lock(m_mutex);
    m_cause.clear();
}

std::string LibraryLog::cause() const
{
    const std::lock_guard lock(m_mutex);
    return m_cause;
}

}  // namespace quill

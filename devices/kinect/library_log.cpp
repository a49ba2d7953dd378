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
    QUILL_LOG(kTrace, kCategory) << "libfreenect2: " << message;
    if (level != Error) return;
    const std::lock_guard lock(m_mutex);
    if (!tellsOfMissingPermission(m_lastError)) m_lastError = message;
}

void LibraryLog::forgetErrors()
{
    const std::lock_guard lock(m_mutex);
    m_lastError.clear();
}

std::string LibraryLog::lastError() const
{
    const std::lock_guard lock(m_mutex);
    return m_lastError;
}

}  // namespace quill

#include "log.h"

#include <memory>
#include <mutex>

namespace libfreenect2
{
namespace
{

std::mutex s_mutex;
std::shared_ptr<Logger> s_logger;  // a thread that logs keeps it alive meanwhile

std::shared_ptr<Logger> currentLogger()
{
    const std::lock_guard lock(s_mutex);
    return s_logger;
}

}  // namespace

Logger::~Logger() = default;

Logger::Level Logger::level() const
{
    return level_;
}

void setGlobalLogger(Logger* logger)
{
    std::shared_ptr<Logger> replaced(logger);
    const std::lock_guard lock(s_mutex);
    s_logger.swap(replaced);
}

void log(Logger::Level level, const std::string& message)
{
    if (const auto logger = currentLogger()) logger->log(level, message);
}

void logError(const std::string& message)
{
    log(Logger::Error, message);
}

}  // namespace libfreenect2

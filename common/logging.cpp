#include "common/logging.h"

#include <spdlog/details/os.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <utility>

#include "common/text.h"

namespace quill
{
namespace
{

std::atomic<int> s_level{kDefaultLogLevel};
std::atomic<int> s_breakLevel{kNoBreakLevel};
std::atomic<int> s_statements{0};

spdlog::color_mode colorMode()
{
    const char* noColor = std::getenv("NO_COLOR");
    const bool wanted = (noColor == nullptr || *noColor == '\0') && ::isatty(STDERR_FILENO) != 0 &&
                        spdlog::details::os::is_color_terminal();
    return wanted ? spdlog::color_mode::always : spdlog::color_mode::never;
}

/// Made with the first record, so that a run that logs nothing does not pay for it.
spdlog::logger& output()
{
    static const auto logger = [] {
        auto sink = std::make_shared<spdlog::sinks::ansicolor_stderr_sink_mt>(colorMode());
        auto created = std::make_shared<spdlog::logger>("", std::move(sink));
        created->set_level(spdlog::level::trace);
        created->flush_on(spdlog::level::trace);
        created->set_pattern("%Y-%m-%d %H:%M:%S.%e %^%v%$");
        return created;
    }();
    return *logger;
}

/// spdlog's level decides only the colour: red, yellow, green, and plain for details.
spdlog::level::level_enum colorLevel(int level)
{
    switch (level) {
        case kWarning: return spdlog::level::warn;
        case kResult: return spdlog::level::info;
        default: return level < kWarning ? spdlog::level::err : spdlog::level::trace;
    }
}

void issue(const LoggingFilter* filter, LogRecord record, int* state)
{
    // Two threads in their first use of one statement may both number it; either number will do.
    if (*state < 0) *state = s_statements++;
    record.statement = *state;
    if (filter != nullptr && !filter->accepts(record)) return;
    if (endsWithLineEnd(record.text)) record.text.pop_back();
    output().log(colorLevel(record.level), "[{}] {}: {} ({}:{})", record.level, record.category,
                 escapeControls(record.text), record.file, record.line);
}

}  // namespace

void setLogLevel(int level)
{
    s_level = level;
}

int logLevel()
{
    return s_level;
}

void setLogBreakLevel(int level)
{
    s_breakLevel = level;
}

bool isLoggerEnabled(int level, const char* /*category*/)
{
    return level <= s_level;
}

bool loggerMustBreak(int level, const char* /*category*/)
{
    return level <= s_breakLevel;
}

void logToLogger(LoggingFilter* filter, int level, const char* category, const char* file,
                 const char* function, int line, int* state, const char* format, ...)
{
    va_list values;
    va_start(values, format);
    std::string text = formatText(format, values);
    va_end(values);
    issue(filter, {level, category, file, function, line, 0, std::move(text)}, state);
}

LoggingStream::LoggingStream(LoggingFilter* filter, int level, const char* category,
                             const char* file, const char* function, int line, int* state)
    : m_filter(filter), m_record{level, category, file, function, line, 0, {}}, m_state(state)
{}

LoggingStream::~LoggingStream()
{
    m_record.text = m_text.str();
    issue(m_filter, std::move(m_record), m_state);
}

}  // namespace quill

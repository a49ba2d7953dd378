#pragma once

#include <sstream>

#include "common/assertions.h"
#include "common/export.h"

/// The log: one line per record on standard error, with time, level, category, text, file and line.
namespace quill
{

/// The levels grow with detail.
enum LogLevel : int {
    kFailure = 2,  ///< of a command
    kWarning = 3,  ///< of a library, with cause and remedy
    kResult = 4,   ///< and progress
    kTrace = 5,
    kWire = 6,  ///< every byte of a line
};

constexpr int kDefaultLogLevel = kResult;
constexpr int kNoBreakLevel = 0;

struct LogRecord
{
    int level;
    const char* category;
    const char* file;
    const char* function;
    int line;
    int statement;  ///< number of the log statement in the process, in the order of first use
    std::string text;
};

/// Decides about single records after level and category have passed. A null filter lets all pass.
class QUILL_API LoggingFilter
{
  public:
    virtual ~LoggingFilter() = default;
    virtual bool accepts(const LogRecord& record) const = 0;
};

/// Shows records up to this level; kDefaultLogLevel unless set.
QUILL_API void setLogLevel(int level);
QUILL_API int logLevel();

/// Records of the formatted form (QUILL_LOGF) up to this level are followed by a failed assertion;
/// 0 (none) unless set.
QUILL_API void setLogBreakLevel(int level);

QUILL_API bool isLoggerEnabled(int level, const char* category);

/// Whether a record of this level and category, once written, must stop the program.
QUILL_API bool loggerMustBreak(int level, const char* category);

/// Issues one record. A line end at the end of the text is not doubled.
/// @param state  an int of static storage that belongs to the log statement and starts at -1
QUILL_API void logToLogger(LoggingFilter* filter, int level, const char* category, const char* file,
                           const char* function, int line, int* state, const char* format, ...)
    __attribute__((format(printf, 8, 9)));

/// Collects one record and issues it when destroyed. Parameters as for logToLogger().
class QUILL_API LoggingStream
{
  public:
    LoggingStream(LoggingFilter* filter, int level, const char* category, const char* file,
                  const char* function, int line, int* state);
    ~LoggingStream();
    LoggingStream(const LoggingStream&) = delete;
    LoggingStream& operator=(const LoggingStream&) = delete;

    template <typename T>
    LoggingStream& operator<<(const T& value)
    {
        m_text << value;
        return *this;
    }

  private:
    LoggingFilter* m_filter;
    LogRecord m_record;
    int* m_state;
    std::ostringstream m_text;
};

}  // namespace quill

/// Stream form: QUILL_LOG(kResult, kCategory) << "id=" << id;
/// The values are evaluated only when the level is enabled. (`for` rather than `if`: the statement
/// swallows no `else` that follows it.)
#define QUILL_LOG(level, category) QUILL_LOG_FROM(__PRETTY_FUNCTION__, level, category)

/// As QUILL_LOG, for a helper that logs in the name of the function that called it.
/// @param function  the caller's __PRETTY_FUNCTION__
#define QUILL_LOG_FROM(function, level, category)                                                 \
    for (bool quillLog = ::quill::isLoggerEnabled(level, category); quillLog; quillLog = false)   \
    ::quill::LoggingStream(nullptr, level, category, __FILE__, function, __LINE__, []() -> int* { \
        static int quillLogState = -1;                                                            \
        return &quillLogState;                                                                    \
    }())

/// Formatted form: QUILL_LOGF(kResult, kCategory, "setPanTilt(%d,%d)", pan, tilt);
#define QUILL_LOGF(level, category, ...) \
    QUILL_LOGF_FROM(__PRETTY_FUNCTION__, level, category, __VA_ARGS__)

/// As QUILL_LOGF, for a helper that logs in the name of the function that called it.
/// @param function  the caller's __PRETTY_FUNCTION__
#define QUILL_LOGF_FROM(function, level, category, ...)                                  \
    do {                                                                                 \
        if (::quill::isLoggerEnabled(level, category)) {                                 \
            static int quillLogState = -1;                                               \
            ::quill::logToLogger(nullptr, level, category, __FILE__, function, __LINE__, \
                                 &quillLogState, __VA_ARGS__);                           \
            if (::quill::loggerMustBreak(level, category) &&                             \
                ::quill::handleAssertion(                                                \
                    __FILE__, __LINE__, function,                                        \
                    "Assertion failed: Reached terminating log level. Terminating\n"))   \
                QUILL_BREAKPOINT();                                                      \
        }                                                                                \
    } while (false)

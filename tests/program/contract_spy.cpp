// Preloaded into rigtool: takes its log and the call into the calibration library, and writes down
// in the file CONTRACT_SPY what no output of the program shows, one line each:
//   calibration PENDING             how many settings wait to be bound at that call
//   LEVEL CATEGORY STATE FUNCTION   a record; STATE is what the log statement's int holds
//   setting NAME DEFAULT FILE       each node of the tree, at the program's ordinary end

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/logging.h"
#include "common/properties.h"

namespace
{

std::FILE* report()
{
    static std::FILE* const file = std::fopen(std::getenv("CONTRACT_SPY"), "we");
    return file;
}

/// The queue of the settings, the one declared last first.
using Queue =
    quill::StaticDeferredInit<quill::StaticPropertyInitTag, quill::StaticPropertyInitArgs>;

struct AtEnd
{
    AtEnd() { quill::propertyTree(); }  // made before, so that it goes after
    ~AtEnd()
    {
        quill::propertyTree()->visitNodes([](const std::string& path, quill::PropertyNode& node) {
            std::fprintf(report(), "setting %s %s %s\n", path.c_str(),
                         node.defaultValue().toString().c_str(),
                         node.meta("file_name").toString().c_str());
        });
        std::fclose(report());
    }
} s_atEnd;

}  // namespace

__attribute__((visibility("default"))) void embedded_calibration_files_dummy()
{
    int pending = 0;
    for (const Queue* entry = Queue::s_head; entry != nullptr; entry = entry->next) ++pending;
    std::fprintf(report(), "calibration %d\n", pending);
}

namespace quill
{

void logToLogger(LoggingFilter*, int level, const char* category, const char*, const char* function,
                 int, int* state, const char*, ...)
{
    std::fprintf(report(), "%d %s %d %s\n", level, category, *state, function);
}

LoggingStream::LoggingStream(LoggingFilter* filter, int level, const char* category,
                             const char* file, const char* function, int line, int* state)
    : m_filter(filter), m_record{level, category, file, function, line, 0, {}}, m_state(state)
{}

LoggingStream::~LoggingStream()
{
    logToLogger(m_filter, m_record.level, m_record.category, m_record.file, m_record.function,
                m_record.line, m_state, "%s", m_text.str().c_str());
}

}  // namespace quill

#include "tools/rigsim/trace.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdio>
#include <system_error>

namespace rigsim
{

Trace::Trace(const std::string& path)
{
    if (!path.empty()) m_file = std::make_unique<OutputFile>(path);
}

Trace::~Trace()
{
    if (m_file && m_lost > 0)
        fmt::print(stderr, "rigsim: {}: its reader was too slow: {} lines are missing\n",
                   m_file->path(), m_lost);
}

void Trace::add(quill::Time at, const std::string& device, const char* direction,
                const Bytes& bytes, const std::string& remark)
{
    if (!m_file) return;
    const double ms = static_cast<double>(at.nanoseconds()) / 1e6;
    const std::string line = fmt::format("{:10.3f} {} {} {:02X}{}\n", ms, device, direction,
                                         fmt::join(bytes, " "), remark);
    try {
        if (!m_file->offer(line)) ++m_lost;
    } catch (const std::system_error& error) {
        fmt::print(stderr, "rigsim: {} (the trace ends here)\n", error.what());
        m_file.reset();
    }
}

}  // namespace rigsim

#include "tools/rigsim/trace.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace rigsim
{

Trace::Trace(const std::string& path) : m_path(path)
{
    if (path.empty()) return;
    m_file = std::fopen(path.c_str(), "we");
    if (!m_file) throw std::system_error(errno, std::generic_category(), path);
}

Trace::~Trace()
{
    if (m_file) std::fclose(m_file);
}

void Trace::add(quill::Time at, const std::string& device, const char* direction,
                const Bytes& bytes, const std::string& remark)
{
    if (!m_file) return;
    const double ms = static_cast<double>(at.nanoseconds()) / 1e6;
    fmt::print(m_file, "{:10.3f} {} {} {:02X}{}\n", ms, device, direction, fmt::join(bytes, " "),
               remark);
    if (std::fflush(m_file) == 0) return;  // flushed: readable while the rig runs
    const int number = errno;
    fmt::print(stderr, "rigsim: {}: {} (the trace ends here)\n", m_path, std::strerror(number));
    std::fclose(std::exchange(m_file, nullptr));
}

}  // namespace rigsim

#include "tools/rigsim/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/time.h"

namespace rigsim
{
namespace
{

constexpr auto kPatience = quill::milliseconds(5000);
constexpr auto kPause = quill::milliseconds(10);

bool isFifo(const std::string& path)
{
    struct stat file = {};
    return stat(path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode);
}

}  // namespace

OutputFile::OutputFile(std::string path) : m_path(std::move(path))
{
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const quill::Time end = quill::Time::now() + kPatience;
    while ((m_descriptor = open(m_path.c_str(), kFlags, 0666)) < 0) {
        const int number = errno;
        if (number != ENXIO || !isFifo(m_path))
            throw std::system_error(number, std::generic_category(), m_path);
        if (quill::Time::now() >= end)
            throw std::runtime_error(m_path + ": nobody reads this FIFO (start its reader first)");
        quill::sleep(kPause);
    }
}

OutputFile::~OutputFile()
{
    close(m_descriptor);
}

void OutputFile::write(const std::string& text)
{
    m_rest += text;
    const quill::Time end = quill::Time::now() + kPatience;
    while (!flush()) {
        if (quill::Time::now() >= end)
            throw std::runtime_error(m_path + ": its reader has stopped reading");
        quill::sleep(kPause);
    }
}

bool OutputFile::offer(const std::string& line)
{
    if (!flush()) return false;
    m_rest = line;
    // A line longer than a FIFO takes at once may go in two parts; the second comes before others.
    const size_t size = m_rest.size();
    if (flush() || m_rest.size() < size) return true;
    m_rest.clear();
    return false;
}

// Writes what it can without waiting. @return whether nothing is left
bool OutputFile::flush()
{
    while (!m_rest.empty()) {
        const ssize_t written = ::write(m_descriptor, m_rest.data(), m_rest.size());
        if (written >= 0)
            m_rest.erase(0, static_cast<size_t>(written));
        else if (errno == EAGAIN)
            return false;
        else if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), m_path);
    }
    return true;
}

}  // namespace rigsim

#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace support
{
namespace
{

std::string contents(std::FILE* file)
{
    std::string text;
    char buffer[4096];
    for (off_t offset = 0;;) {
        const ssize_t got = ::pread(::fileno(file), buffer, sizeof buffer, offset);
        if (got <= 0) return text;
        text.append(buffer, static_cast<size_t>(got));
        offset += got;
    }
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments)
    : m_out(std::tmpfile()), m_err(std::tmpfile())
{
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    m_pid = ::fork();
    if (m_pid != 0) return;
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(::fileno(m_out), 1);
    ::dup2(::fileno(m_err), 2);
    std::signal(SIGPIPE, SIG_DFL);  // whatever the suite was started from
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

Process::~Process()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        (void)wait();
    }
    std::fclose(m_out);
    std::fclose(m_err);
}

void Process::signal(int number)
{
    ::kill(m_pid, number);
}

bool Process::waitForError(const std::string& text)
{
    for (int i = 0; i < 3000; ++i) {
        if (contents(m_err).find(text) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

Ended Process::wait()
{
    int status = 0;
    EXPECT_EQ(::waitpid(m_pid, &status, 0), m_pid);
    m_pid = -1;
    const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return {code, contents(m_out), contents(m_err)};
}

Ended run(const std::vector<std::string>& arguments)
{
    return Process(arguments).wait();
}

}  // namespace support

#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace support
{

/// Catches standard error while it lives and gives the log records on it as "level category: text".
class LogCapture
{
  public:
    LogCapture() { testing::internal::CaptureStderr(); }
    ~LogCapture()
    {
        if (m_active) (void)testing::internal::GetCapturedStderr();
    }

    /// All of standard error; ends the capture.
    std::string text()
    {
        m_active = false;
        return testing::internal::GetCapturedStderr();
    }

    /// The records; lines that are none come as they are. Ends the capture.
    std::vector<std::string> records()
    {
        static const std::regex record(R"(\S+ \S+ \[(\d+)\] (.*) \([a-z/_0-9]+\.(?:cpp|h):\d+\))");
        std::vector<std::string> found;
        std::istringstream lines(text());
        for (std::string line; std::getline(lines, line);) {
            std::smatch parts;
            const bool isRecord = std::regex_match(line, parts, record);
            found.push_back(isRecord ? parts[1].str() + " " + parts[2].str() : line);
        }
        return found;
    }

  private:
    bool m_active = true;
};

}  // namespace support

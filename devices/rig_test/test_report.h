#pragma once

#include <functional>
#include <string>

namespace quill::app
{

/// A device under test, as an operator knows it.
struct DeviceName
{
    std::string role;  ///< "pan servo"
    std::string path;
};

/// What a run of the whole-rig test does, for the log, and what went wrong, for the operator.
class TestReport
{
  public:
    /// Logs the step and keeps it for fail().
    void begin(const DeviceName& device, const std::string& step);

    /// The step under way has failed.
    /// @return false
    bool fail(const std::string& expected, const std::string& came);

    /// Runs a part of the test; an exception that leaves it is a failure of the step under way.
    void watch(const std::function<void()>& part);

    bool hasFailed() const { return !m_text.empty(); }

    /// All failures, in the order they came, in one line; empty without any.
    const std::string& text() const { return m_text; }

  private:
    std::string m_step;
    std::string m_text;
};

}  // namespace quill::app

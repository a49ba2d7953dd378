#pragma once

#include <libfreenect2/logger.h>

#include <mutex>
#include <string>

namespace quill
{

/// What libfreenect2 says: to our log at level 5, while its own logger would write to standard
/// output. The first error is kept to explain a failure. Thread-safe.
class LibraryLog final : public libfreenect2::Logger
{
  public:
    /// Takes the place of the library's logger at the first call, for the rest of the process.
    static LibraryLog& install();

    Level level() const override;
    void log(Level level, const std::string& message) override;

    /// Before each step.
    void forgetErrors();

    /// The first error since forgetErrors(): later ones, down to an empty summary, follow from it.
    /// One that tells of a missing permission takes its place.
    std::string cause() const;

  private:
    mutable std::mutex m_mutex;
    std::string m_cause;
};

}  // namespace quill

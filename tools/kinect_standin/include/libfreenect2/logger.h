#pragma once

#include <string>

namespace libfreenect2
{

class Logger
{
  public:
    enum Level { None = 0, Error = 1, Warning = 2, Info = 3, Debug = 4 };

    virtual ~Logger();

    /// Messages up to this level are wanted.
    virtual Level level() const;

    /// Called on any thread.
    virtual void log(Level level, const std::string& message) = 0;

  protected:
    Level level_ = Warning;
};

/// @param logger  owned by the library from now on, which deletes the one before; null: none
void setGlobalLogger(Logger* logger);

}  // namespace libfreenect2

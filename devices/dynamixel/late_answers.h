#pragma once

#include <array>
#include <memory>
#include <string>

#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"

namespace quill::dynamixel
{

/// What may still come of requests that were given up, told by what can be told of an answer: its
/// ID and its number of parameters. Belongs to the device and not to who has it open: an answer may
/// come to the next one.
class LateAnswers
{
  public:
    /// @param device  path of the line; links to it share the object
    /// @return never empty; the same for the whole run. May be called from any thread, what it
    /// returns is used by who has the line.
    static std::shared_ptr<LateAnswers> of(const std::string& device);

    /// @param id          0..kLastServoId
    /// @param parameters  0..kWord, as below; others are not kept
    void expect(int id, size_t parameters, Time until);

    /// Until when such an answer may come; a time in the past when none is expected.
    Time until(int id, size_t parameters) const;
    bool mayCome(int id, size_t parameters) const { return until(id, parameters) > Time::now(); }

  private:
    std::array<std::array<Time, kWord + 1>, kLastServoId + 1> m_until{};
};

}  // namespace quill::dynamixel

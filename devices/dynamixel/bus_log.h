#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "common/error.h"
#include "common/time.h"

namespace quill::dynamixel
{

/// What a bus tells of its servos, category "dynamixel", level 3: who polls a servo that fails, or
/// that reports an alarm, hears of it once. What is not told is tracing detail (level 5).
class BusLog
{
  public:
    /// For a scan: silence is a detail then.
    void setSilenceExpected(bool expected) { m_silenceExpected = expected; }

    /// Tells a failure of the servo, unless it has been told since the servo last answered and
    /// within 10 s. The loss of the line is told once for all servos.
    void tellFailure(int id, const Error& error);

    /// The servo has answered: its failures are news again when they are 10 s old.
    void answered(int id);

    /// Tells the alarms of an answer unless they are those of the answer before.
    /// @param place  device and register that the answer is of
    /// @param bits   ErrorBits, 0 for none
    void tellAlarms(int id, const std::string& place, uint8_t bits);

    /// Of a read that was answered. @param repetitions  answers before it that were lost
    void countAnswer(int repetitions);

    /// At the end: tells how many answers were lost if they are more than 1 %. A servo that never
    /// answers is no bad line, and told as what it is.
    /// @param device  path of the line
    void tellLosses(const std::string& device) const;

  private:
    bool isNews(int id, const Error& error) const;

    bool m_silenceExpected = false;
    bool m_lossTold = false;
    int64_t m_answers = 0;  ///< lost ones included
    int64_t m_lost = 0;
    std::map<int, std::map<std::string, Time>> m_told;  ///< failures and when they were told
    std::map<int, uint8_t> m_alarms;                    ///< of its last answer
};

}  // namespace quill::dynamixel

#pragma once

#include <cstdint>
#include <ctime>

#include "common/export.h"

namespace quill
{

/// A span of time: a signed 64-bit count of nanoseconds (292 years either way).
class Duration
{
  public:
    constexpr Duration() = default;
    constexpr explicit Duration(int64_t nanoseconds) : m_nanoseconds(nanoseconds) {}

    constexpr int64_t nanoseconds() const { return m_nanoseconds; }
    constexpr double seconds() const { return static_cast<double>(m_nanoseconds) / 1e9; }

    constexpr Duration operator+(Duration other) const
    {
        return Duration(m_nanoseconds + other.m_nanoseconds);
    }
    constexpr Duration operator-(Duration other) const
    {
        return Duration(m_nanoseconds - other.m_nanoseconds);
    }
    constexpr Duration operator*(int64_t factor) const { return Duration(m_nanoseconds * factor); }
    constexpr Duration operator/(int64_t divisor) const
    {
        return Duration(m_nanoseconds / divisor);
    }
    constexpr bool operator==(Duration other) const { return m_nanoseconds == other.m_nanoseconds; }
    constexpr bool operator!=(Duration other) const { return m_nanoseconds != other.m_nanoseconds; }
    constexpr bool operator<(Duration other) const { return m_nanoseconds < other.m_nanoseconds; }
    constexpr bool operator>(Duration other) const { return other < *this; }
    constexpr bool operator<=(Duration other) const { return !(other < *this); }
    constexpr bool operator>=(Duration other) const { return !(*this < other); }

  private:
    int64_t m_nanoseconds = 0;
};

constexpr Duration microseconds(int64_t count)
{
    return Duration(count * 1000);
}
constexpr Duration milliseconds(int64_t count)
{
    return Duration(count * 1000000);
}
constexpr Duration seconds(int64_t count)
{
    return Duration(count * 1000000000);
}

/// A point in time on the monotonic clock: nanoseconds since its origin, 64 bits unsigned.
/// Deadlines are made once, as `Time::now() + timeout`, and handed down.
class Time
{
  public:
    constexpr Time() = default;
    constexpr explicit Time(uint64_t nanoseconds) : m_nanoseconds(nanoseconds) {}

    QUILL_API static Time now();

    constexpr uint64_t nanoseconds() const { return m_nanoseconds; }

    constexpr Time operator+(Duration span) const
    {
        return Time(m_nanoseconds + static_cast<uint64_t>(span.nanoseconds()));
    }
    constexpr Duration operator-(Time earlier) const
    {
        return Duration(static_cast<int64_t>(m_nanoseconds - earlier.m_nanoseconds));
    }
    constexpr bool operator==(Time other) const { return m_nanoseconds == other.m_nanoseconds; }
    constexpr bool operator!=(Time other) const { return m_nanoseconds != other.m_nanoseconds; }
    constexpr bool operator<(Time other) const { return m_nanoseconds < other.m_nanoseconds; }
    constexpr bool operator>(Time other) const { return other < *this; }
    constexpr bool operator<=(Time other) const { return !(other < *this); }
    constexpr bool operator>=(Time other) const { return !(*this < other); }

  private:
    uint64_t m_nanoseconds = 0;
};

/// The span as system calls take it; no time at all for a negative one. What every wait of the
/// process goes through, so that a test can make all of them shorter.
QUILL_API timespec toTimespec(Duration span);

/// Blocks the caller for `span`; returns at once when it is zero or negative. An interrupt (Ctrl-C)
/// that is being watched ends the process from here, see common/interrupt.h.
QUILL_API void sleep(Duration span);

}  // namespace quill

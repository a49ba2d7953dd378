#include "support/fake_clock.h"

#include <utility>

namespace
{

// Far from 0, as a monotonic clock is on a machine that has been up for a while.
quill::Time s_now(uint64_t{1000} * 1000000000);
quill::Duration s_slept;

}  // namespace

quill::Time quill::Time::now()
{
    return s_now;
}

void quill::sleep(Duration span)
{
    s_slept = s_slept + span;
    support::advanceClock(span);
}

void support::advanceClock(quill::Duration span)
{
    s_now = s_now + span;
}

quill::Duration support::takeSlept()
{
    return std::exchange(s_slept, {});
}

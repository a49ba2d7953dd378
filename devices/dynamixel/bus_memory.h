#pragma once

#include <array>
#include <bitset>
#include <memory>
#include <string>

#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"

namespace quill::dynamixel
{

/// What this run knows of a bus, whoever has its line open. IDs are 0..kLastServoId; nothing is
/// kept of others, which give no answers.
class BusMemory
{
  public:
    /// @param device  path of the line; links to it share the object
    /// @return never empty; the same for the whole run. May be called from any thread, what it
    /// returns is used by who has the line.
    static std::shared_ptr<BusMemory> of(const std::string& device);

    /// An answer to a request that was given up may still come, to the next one who has the line.
    /// It is known by what can be told of an answer: its ID and its number of parameters.
    /// @param parameters  0..kWord; others are not kept
    void expectLate(int id, size_t parameters, Time until);

    /// Until when; a time in the past when none is expected.
    Time lateUntil(int id, size_t parameters) const;
    bool mayComeLate(int id, size_t parameters) const
    {
        return lateUntil(id, parameters) > Time::now();
    }

    /// Whether one servo alone has been seen to answer to the ID.
    bool isAlone(int id) const { return id <= kLastServoId && m_alone[static_cast<size_t>(id)]; }
    void setAlone(int id, bool alone);
    /// A servo gets another ID, which one may have.
    void forgetWhoIsAlone() { m_alone.reset(); }

  private:
    std::array<std::array<Time, kWord + 1>, kLastServoId + 1> m_lateUntil{};
    std::bitset<kLastServoId + 1> m_alone;
};

}  // namespace quill::dynamixel

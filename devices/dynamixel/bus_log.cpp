#include "bus_log.h"

#include <iterator>

#include "common/logging.h"
#include "devices/dynamixel/dxl_codec.h"

namespace quill::dynamixel
{
namespace
{

constexpr const char* kCategory = "dynamixel";

/// A servo on a bad line fails and answers by turns, many times a second.
constexpr Duration kTellAgain = seconds(10);

/// Two servos with one ID are found at every register.
std::string keyOf(const Error& error)
{
    return error.kind == ErrorKind::Ambiguous ? error.reason : error.step + error.reason;
}

}  // namespace

void BusLog::tellFailure(int id, const Error& error)
{
    const bool isTold = isNews(id, error);
    QUILL_LOG(isTold ? kWarning : kTrace, kCategory) << error.text();
    if (error.kind == ErrorKind::LineLost) m_lossTold = true;
    if (isTold) m_told[id].emplace(keyOf(error), Time::now());
}

bool BusLog::isNews(int id, const Error& error) const
{
    if (m_lossTold || (m_silenceExpected && error.kind == ErrorKind::Silence)) return false;
    const auto told = m_told.find(id);
    return told == m_told.end() || told->second.count(keyOf(error)) == 0;
}

void BusLog::answered(int id)
{
    auto& told = m_told[id];
    for (auto failure = told.begin(); failure != told.end();)
        failure =
            Time::now() - failure->second < kTellAgain ? std::next(failure) : told.erase(failure);
}

void BusLog::countAnswer(int repetitions)
{
    m_answers += 1 + repetitions;
    m_lost += repetitions;
}

void BusLog::tellLosses(const std::string& device) const
{
    if (m_lost * 100 <= m_answers) return;
    QUILL_LOG(kWarning, kCategory) << device << ": " << m_lost << " of " << m_answers
                                   << " answers were lost or damaged: check cable and power";
}

void BusLog::tellAlarms(int id, const std::string& place, uint8_t bits)
{
    uint8_t& before = m_alarms[id];
    if (bits != 0 && bits != before)
        QUILL_LOG(kWarning, kCategory) << place << ": the servo reports " << errorText(bits);
    before = bits;
}

}  // namespace quill::dynamixel

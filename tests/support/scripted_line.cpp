#include "support/scripted_line.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "devices/serial/device_line.h"
#include "support/fake_clock.h"

namespace
{

using quill::Duration;
using quill::Error;
using quill::ErrorKind;
using quill::Time;

class ScriptedLine final : public quill::ByteLine
{
  public:
    explicit ScriptedLine(support::LineScript& script) : m_script(script) {}

    std::optional<Error> open(const std::string& path, int rate) override
    {
        m_path = path;
        m_arrivals.clear();
        return setBitRate(rate);
    }

    std::optional<Error> setBitRate(int rate) override
    {
        m_script.bitRate = rate;
        return std::nullopt;
    }

    void close() override {}
    void setLowLatency() override {}
    Duration latency() const override { return m_script.latency; }

    std::optional<Error> write(const uint8_t* bytes, size_t size, Time) override
    {
        if (isUnplugged()) return unplugged("write");
        if (m_script.onRequest) m_script.onRequest();
        m_script.sent.emplace_back(bytes, bytes + size);
        support::advanceClock(m_script.writeTakes);
        Time at = Time::now();
        const size_t next = m_script.requests++;
        for (const auto& piece :
             next < m_script.script.size() ? m_script.script[next] : m_script.usual)
            m_arrivals.emplace_back(at = at + piece.after, piece.bytes);
        return std::nullopt;
    }

    std::optional<Error> drain(Time) override { return std::nullopt; }

    std::optional<Error> readSome(uint8_t* buffer, size_t, size_t* got, Time deadline) override
    {
        *got = 0;
        const bool comes =
            !m_arrivals.empty() && m_arrivals.front().first <= std::max(deadline, Time::now());
        const Time until = comes ? m_arrivals.front().first : deadline;
        support::advanceClock(std::max(until - Time::now(), Duration()));
        if (!comes) return Error{m_path, "read", ETIMEDOUT, "", "", ErrorKind::Silence};
        if (isUnplugged()) return unplugged("read");
        const support::Bytes bytes = m_arrivals.front().second;
        m_arrivals.pop_front();
        std::copy(bytes.begin(), bytes.end(), buffer);
        *got = bytes.size();
        return std::nullopt;
    }

    void discardInput() override
    {
        while (!m_arrivals.empty() && m_arrivals.front().first <= Time::now() && !isUnplugged())
            m_arrivals.pop_front();
    }

  private:
    bool isUnplugged() const { return !m_arrivals.empty() && m_arrivals.front().second.empty(); }

    Error unplugged(const char* step) const
    {
        return {m_path, step, EIO, "", "unplugged?", ErrorKind::LineLost};
    }

    support::LineScript& m_script;
    std::string m_path;
    std::deque<std::pair<Time, support::Bytes>> m_arrivals;
};

}  // namespace

support::LineScript& support::line()
{
    static LineScript* const script = [] {
        static LineScript made;
        quill::DeviceLine::setDefaultBytes([] { return std::make_unique<ScriptedLine>(made); });
        return &made;
    }();
    return *script;
}

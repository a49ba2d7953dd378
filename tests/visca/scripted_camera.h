#pragma once

#include <poll.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "devices/visca/visca_codec.h"
#include "tools/rigsim/pty_line.h"

namespace support
{

/// A camera on a pseudo terminal that says one entry of its script to each packet it receives, and
/// nothing when the script is at its end.
class ScriptedCamera
{
  public:
    using Bytes = quill::visca::Bytes;

    explicit ScriptedCamera(std::vector<std::vector<Bytes>> script)
        : m_script(std::move(script)), m_thread([this] { run(); })
    {}
    ~ScriptedCamera()
    {
        m_ending = true;
        m_thread.join();
    }

    const std::string& path() const { return m_line.path(); }

    /// Says something that nobody asked for.
    void say(const Bytes& bytes) { m_line.write(bytes); }

    /// Sends the bytes again and again from now on.
    void babble(const Bytes& bytes)
    {
        m_babble = bytes;
        m_babbling = true;
    }

  private:
    void run()
    {
        while (!m_ending) {
            pollfd input{m_line.descriptor(), POLLIN, 0};
            if (m_babbling)
                m_line.write(m_babble);
            else if (::poll(&input, 1, 5) > 0)
                answer(m_line.read());
        }
    }

    void answer(const Bytes& received)
    {
        for (const uint8_t byte : received) {
            if (!m_reader.push(byte) || m_next == m_script.size()) continue;
            for (const Bytes& reply : m_script[m_next]) m_line.write(reply);
            ++m_next;
        }
    }

    rigsim::PtyLine m_line;
    std::vector<std::vector<Bytes>> m_script;
    size_t m_next = 0;
    quill::visca::PacketReader m_reader;
    Bytes m_babble;
    std::atomic<bool> m_babbling{false};
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};

}  // namespace support

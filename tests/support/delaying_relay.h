#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "common/time.h"

namespace support
{

/// A network in between: takes one connection on a port of its own and hands its bytes on to
/// another port of this computer and back, each way after a delay.
class DelayingRelay
{
  public:
    DelayingRelay(uint16_t target, quill::Duration delay);
    ~DelayingRelay();

    uint16_t port() const { return m_port; }

  private:
    void run();

    uint16_t m_target;
    quill::Duration m_delay;
    uint16_t m_port = 0;
    int m_listener;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

/// A TCP port of this computer that nobody listens on now.
uint16_t freePort();

}  // namespace support

#pragma once

#include <mutex>

namespace quill
{

/// A lock that the users of one device share, on one thread more than once if need be: held around
/// each exchange with the device. Meets the standard's Lockable, so that std::lock_guard takes it.
class RecursiveMutex
{
  public:
    void lock() { m_mutex.lock(); }
    bool try_lock() { return m_mutex.try_lock(); }
    void unlock() { m_mutex.unlock(); }

  private:
    std::recursive_mutex m_mutex;
};

}  // namespace quill

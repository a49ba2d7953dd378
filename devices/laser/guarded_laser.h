#pragma once

#include <memory>
#include <string>

namespace quill
{

/// A laser behind the relay of TTYLaser that is on for a moment only, whatever becomes of the
/// process that switched it on: a small process of its own (LineGuard) gives both orders and keeps
/// the line between them. Main thread only.
class GuardedLaser
{
  public:
    /// @param device  path of the serial line; not opened yet
    explicit GuardedLaser(const std::string& device);
    /// It is off, if it was switched on.
    ~GuardedLaser();
    GuardedLaser(const GuardedLaser&) = delete;
    GuardedLaser& operator=(const GuardedLaser&) = delete;

    /// Switches it on for 2 s at most. Returns once the bytes have left; until switchOff() this
    /// process had better do nothing that may block.
    /// @return whether the bytes were sent; the cause of a failure is logged with its remedy at
    ///         level 3, category "laser"
    bool switchOn();

    /// Switches it off, also when this object has not switched it on: 4 s at most.
    /// @return whether the bytes were sent; the cause of a failure is logged likewise
    bool switchOff();

  private:
    struct Lit;  ///< its line and who guards it

    std::string m_device;
    std::unique_ptr<Lit> m_lit;
};

}  // namespace quill

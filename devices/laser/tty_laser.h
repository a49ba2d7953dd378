#pragma once

#include <string>

namespace quill
{

/// A laser behind a serial relay of the LCUS-1 class: 9600 bit/s, channel 1. Keeps nothing but the
/// path; each operation opens the line, sends and closes it. The relay keeps its state meanwhile,
/// also when the program ends. Source: relay maker's command table.
class TTYLaser
{
  public:
    /// @param device  path of the serial line; not opened yet
    explicit TTYLaser(const std::string& device);

    /// Switches the laser: A0 01 01 A2 on, A0 01 00 A1 off. Returns once the bytes have left. The
    /// relay never answers, so that nothing tells whether one is there.
    /// @return whether the bytes were sent; the cause of a failure is logged with its remedy at
    ///         level 3, category "laser"
    bool setState(bool on);

  private:
    std::string m_device;
};

}  // namespace quill

#pragma once

#include <optional>
#include <string>

#include "common/interrupt.h"
#include "common/time.h"

namespace quill
{

/// What stands between a tty and its serial line, as the system describes it.
class UsbAdapter
{
  public:
    /// @param ttyPath  device node or a link to it
    /// @param sysfs    where the system describes its devices
    explicit UsbAdapter(std::string ttyPath, std::string sysfs = "/sys");

    /// The bit rate on the wire in bit/s where the tty reports `reported`: an FTDI driver reports
    /// what was asked for, not what the chip's divisor makes of it.
    int bitRate(int reported) const;

    /// The longest that received bytes are kept back: the latency timer in force where there is
    /// one, nothing for a pseudo terminal, 4 ms for adapters that do not tell.
    Duration latency() const;

  private:
    std::string m_tty;
    std::string m_sysfs;
};

/// The nearest bit rate in bit/s that an FT232R has (chip maker's application note on baud rates):
/// 24 MHz divided by a whole number, 3 M and 2 M with nothing between, from 1.5 M down to 183.
int ftdiBitRate(int bitRate);

/// Asks a tty's driver for low latency (1 ms instead of the 16 ms of an FTDI chip's timer) as long
/// as this lives. Drivers without the request are left as they are. The driver keeps the setting
/// beyond the last close, hence it is put back, also when the run is interrupted.
class LowLatency
{
  public:
    /// @param fd  open tty; must stay open as long as this lives
    explicit LowLatency(int fd);
    ~LowLatency();
    LowLatency(const LowLatency&) = delete;
    LowLatency& operator=(const LowLatency&) = delete;

  private:
    int m_fd;
    std::optional<InterruptCleanup> m_cleanup;  ///< only where something is to be put back
};

}  // namespace quill

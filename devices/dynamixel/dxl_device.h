#pragma once

#include <memory>
#include <string>

namespace quill::dynamixel
{
class DxlBus;
}

/// Register access to the Dynamixel servos (protocol 1.0) on one serial line. One object is one
/// handle on one port; the destructor closes it. IDs are 0..253 (254, all servos, for writes only),
/// addresses 0..255. Failures are logged with cause and remedy at level 3, category "dynamixel";
/// one that a poll meets again is told once until the servo answers, and every 10 s at most. One
/// thread.
class DxlDevice
{
  public:
    DxlDevice();
    ~DxlDevice();
    DxlDevice(const DxlDevice&) = delete;
    DxlDevice& operator=(const DxlDevice&) = delete;

    /// Opens the line at the bit rate of a baud number n, 2,000,000 / (n + 1) bit/s. A line that
    /// this handle had open is closed before. An MX servo that was given the number 250, 251 or 252
    /// runs at 2.25, 2.5 or 3 Mbit/s and is not reached.
    /// @param baudnum  0..3999999, of which a servo can hold 0..254
    /// @return 1, or 0: no such line or rate, no permission, in use
    int dxl_initialize(const std::string& device, int baudnum);

    /// Read request (instruction 2) for one register, repeated twice at most where the answer is
    /// missing or damaged. How many were, if they are more than 1 %, is told at the end.
    /// @return 0..255, 0..65535; -1: no or a damaged answer, refused, out of range, line lost
    int dxl_read_byte(int id, int address);
    int dxl_read_word(int id, int address);  ///< low byte at `address`, high byte at the next one

    /// Write request (instruction 3) for one register. A servo set to answer no writes (status
    /// return level 0 or 1) is asked with a ping whether it is there, and gives no sign that it has
    /// taken the value; that is no failure.
    /// @return 1, or 0: refused, a damaged answer, no servo there, out of range, line lost
    int dxl_write_byte(int id, int address, int value);
    int dxl_write_word(int id, int address, int value);

    /// For a scan: a servo that does not answer is no failure then, but tracing detail (level 5),
    /// and not asked again.
    /// Holds until changed; false at first.
    void setSilenceExpected(bool expected);

    /// Whether the adapter is gone (unplugged): no later operation of this handle can succeed.
    bool isLineLost() const;

  private:
    std::unique_ptr<quill::dynamixel::DxlBus> m_bus;  ///< empty until initialized
    bool m_silenceExpected = false;
};

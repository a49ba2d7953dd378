#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/time.h"
#include "tools/rigsim/bytes.h"
#include "tools/rigsim/output_file.h"

namespace rigsim
{

/// The record of what went over the lines, one transfer a line: simulated time in ms, device,
/// "received" or "sent" as the device sees it, bytes in hex, and a remark where there is one. The
/// chip of a device's USB adapter is "DEVICE.usb"; what it receives are setup packets.
/// The rig never waits for a trace's reader: lines that a full FIFO does not take are left out, and
/// how many is told on standard error at the end.
class Trace
{
  public:
    /// @param path  of the file to write; empty: nothing is recorded
    /// @throw std::runtime_error  when it cannot be opened
    explicit Trace(const std::string& path);
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void add(quill::Time at, const std::string& device, const char* direction, const Bytes& bytes,
             const std::string& remark = "");

  private:
    std::unique_ptr<OutputFile> m_file;
    uint64_t m_lost = 0;  // lines
};

}  // namespace rigsim

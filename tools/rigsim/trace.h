#pragma once

#include <cstdio>
#include <string>

#include "common/time.h"
#include "tools/rigsim/bytes.h"

namespace rigsim
{

/// The record of what went over the lines, one transfer a line: simulated time in ms, device,
/// "received" or "sent" as the device sees it, bytes in hex, and a remark where there is one. The
/// chip of a device's USB adapter is "DEVICE.usb"; what it receives are setup packets.
class Trace
{
  public:
    /// @param path  of the file to write; empty: nothing is recorded
    /// @throw std::system_error  when it cannot be created
    explicit Trace(const std::string& path);
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void add(quill::Time at, const std::string& device, const char* direction, const Bytes& bytes,
             const std::string& remark = "");

  private:
    std::string m_path;
    std::FILE* m_file = nullptr;
};

}  // namespace rigsim

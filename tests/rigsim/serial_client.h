#pragma once

#include <string>

/// A program's end of a serial line, with nothing but system calls: what a simulated line is tested
/// with. Ends the test program when the line cannot be opened, or not for itself alone.
class SerialClient
{
  public:
    SerialClient(const std::string& path, unsigned bitRate);
    ~SerialClient();
    SerialClient(const SerialClient&) = delete;
    SerialClient& operator=(const SerialClient&) = delete;

    int descriptor() const { return m_descriptor; }

    void say(const std::string& hex) const;
    /// @return the next packet in hex, or what came of it and "silence" or "hung up". It ends with
    /// FF, or begins with FF and tells its length in the fourth byte.
    std::string hear() const;

  private:
    int m_descriptor;
};

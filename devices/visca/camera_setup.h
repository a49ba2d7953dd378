#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/error.h"
#include "common/time.h"

namespace quill
{
namespace visca
{
class Conversation;
}

/// A camera as who sets it up sees it: who it is, and whether it is on. Works in standby too, where
/// a camera refuses to move. Failures are values; nothing is logged. The destructor closes the
/// line. One thread. Source: camera maker's VISCA command lists.
class CameraSetup
{
  public:
    /// Numbers as the vendor gives them.
    struct Version
    {
        uint16_t vendor = 0, model = 0, romRevision = 0;
    };

    CameraSetup();
    ~CameraSetup();
    CameraSetup(const CameraSetup&) = delete;
    CameraSetup& operator=(const CameraSetup&) = delete;

    /// Opens the line and finds the camera at address 1, at 9600 or 38400 bit/s.
    /// @param timeout  for all of it
    [[nodiscard]] std::optional<Error> open(const std::string& device, Duration timeout);

    /// In bit/s, at which it was found.
    int bitRate() const;

    /// Number of cameras in the chain on this line; 0 where none has told it, as those do whose
    /// address is set by switches.
    int cameras() const;

    /// CAM_VersionInq (81 09 00 02). The output is written on success only.
    [[nodiscard]] std::optional<Error> readVersion(Version* version, Duration timeout);

    /// CAM_PowerInq (81 09 04 00): on, or in standby. The output is written on success only.
    [[nodiscard]] std::optional<Error> readPower(bool* isOn, Duration timeout);

    /// CAM_Power (81 01 04 00). Returns once the camera tells the state that was ordered.
    /// @param timeout  for all of it; a camera that starts may stay silent for some seconds
    [[nodiscard]] std::optional<Error> setPower(bool on, Duration timeout);

  private:
    std::unique_ptr<visca::Conversation> m_conversation;
};

}  // namespace quill

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/time.h"

namespace quill
{

/// A pan-tilt-zoom camera that speaks VISCA on a serial line. Positions are in the camera's own
/// steps. The last holder's release closes the line; a motion under way goes on. Failures are
/// logged with cause and remedy at level 3, category "visca". Main thread. Source: camera maker's
/// VISCA command lists.
class VISCACamera
{
  public:
    /// Results of the operations.
    enum Result : int {
        kDone = 0,
        kNoAnswer = 1,        ///< nothing that answers came until the time-out
        kRefused = 2,         ///< the camera answered with an error
        kOutOfRange = 3,      ///< a value does not fit its field of the packet: nothing was sent
        kConnectionLost = 4,  ///< the line failed; no later operation can succeed
    };

    /// Opens the line (9600 bit/s) and finds the camera on it: address set and interface clear,
    /// which the camera may refuse or ignore where it answers an inquiry to address 1. A camera at
    /// 38400 bit/s is found too, and a level-3 line says so.
    /// @param device   path of the serial line; one that cannot be opened fails at once
    /// @param timeout  for all of it
    /// @return the camera; empty when there is none
    static std::shared_ptr<VISCACamera> open(const std::string& device, const Duration& timeout);

    virtual ~VISCACamera() = default;

    /// Pan-tiltDrive Reset (81 01 06 05): drives to the stops and back to the home position.
    /// Returns once the camera has completed it.
    virtual int rehomePanTilt(const Duration& timeout) = 0;

    /// Pan-tiltDrive AbsolutePosition (81 01 06 02). Returns once the camera has taken the order,
    /// not when it arrives.
    /// @param panSpeed, tiltSpeed  the camera's own scale, 1..24 and 1..23
    /// @param pan, tilt            16 bits signed; the camera refuses what it cannot reach
    /// @param timeout  for the whole exchange, repetitions while the camera's command buffer is
    /// full
    ///                 included; just after power-up the answer may take 3 s
    virtual int setPanTiltPosition(int panSpeed, int tiltSpeed, int pan, int tilt,
                                   const Duration& timeout) = 0;

    /// Pan-tiltPosInq (81 09 06 12). The outputs are written on success only.
    virtual int getPanTiltPosition(int* pan, int* tilt, const Duration& timeout) = 0;

    /// CAM_Zoom Direct (81 01 04 47). As setPanTiltPosition().
    /// @param zoom  16 bits unsigned
    virtual int setZoomPosition(int zoom, const Duration& timeout) = 0;

    /// CAM_ZoomPosInq (81 09 04 47). The output is written on success only.
    virtual int getZoomPosition(uint16_t* zoom, const Duration& timeout) = 0;

    /// What has become of the last pan/tilt or zoom order that was taken: kRefused when the camera
    /// has given it up since, kDone otherwise. Known once another operation has read it.
    virtual int panTiltOutcome() const { return kDone; }
    virtual int zoomOutcome() const { return kDone; }
};

}  // namespace quill

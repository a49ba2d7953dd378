#include "devices/visca/visca_camera.h"
#include "log.h"
#include "tools/orca/hardware_driver.h"

using quill::Duration;
using quill::milliseconds;
using quill::seconds;
using quill::Time;
using quill::VISCACamera;

namespace
{

constexpr Duration kOpenTimeout = seconds(1);
constexpr Duration kQueryTimeout = seconds(1);
constexpr Duration kMoveTimeout = seconds(10);
constexpr Duration kRehomeTimeout = seconds(30);

constexpr Duration kPollInterval = milliseconds(100);
/// The settle wait ends after this long without a good reading, and after this long in any case.
constexpr Duration kMaxSilence = seconds(10);
constexpr Duration kMaxMotion = seconds(120);

VISCACameraPtr openCamera(const std::string& devicePath, const char* function)
{
    VISCACameraPtr camera = VISCACamera::open(devicePath, kOpenTimeout);
    if (camera == nullptr)
        QUILL_LOGF_FROM(function, kFailure, kLogCategory, "Failed to open VISCA camera.");
    return camera;
}

void reportPanTilt(int result, const char* function)
{
    if (result != 0) QUILL_LOGF_FROM(function, kFailure, kLogCategory, "Failed to set pan tilt.");
}

void reportZoom(int result, const char* function)
{
    if (result != 0) QUILL_LOGF_FROM(function, kFailure, kLogCategory, "Failed to set zoom.");
}

struct Reading
{
    int pan = -1;
    int tilt = -1;
    uint16_t zoom = 0xFFFF;

    bool operator==(const Reading& other) const
    {
        return pan == other.pan && tilt == other.tilt && zoom == other.zoom;
    }
};

int readPosition(VISCACamera& camera, Reading* reading)
{
    const int result = camera.getPanTiltPosition(&reading->pan, &reading->tilt, kQueryTimeout);
    if (result != 0) return result;
    return camera.getZoomPosition(&reading->zoom, kQueryTimeout);
}

/// Why the settle wait must end although the camera has not settled; null to go on.
const char* reasonToGiveUp(int readResult, Time silenceEnd, Time end)
{
    if (readResult == VISCACamera::kConnectionLost) return "the connection to it is lost";
    if (Time::now() >= silenceEnd) return "no position reading for 10 s";
    if (Time::now() >= end) return "it still moves after 120 s";
    return nullptr;
}

}  // namespace

void HardwareDriver::setPanTiltZoom(int pan, int tilt, int zoom)
{
    const VISCACameraPtr camera = openCamera(devicePath, __PRETTY_FUNCTION__);
    if (camera == nullptr) return;
    QUILL_LOGF(kResult, kLogCategory, "setPanTiltZoom(%d,%d,%d)", pan, tilt, zoom);
    reportPanTilt(camera->setPanTiltPosition(20, 20, pan, tilt, kMoveTimeout), __PRETTY_FUNCTION__);
    QUILL_LOG(kResult, kLogCategory) << "Setting Zoom.";
    reportZoom(camera->setZoomPosition(zoom, kMoveTimeout), __PRETTY_FUNCTION__);
    QUILL_LOG(kResult, kLogCategory) << "Wait";
    waitNotMoving(camera);
    // Orders that it gave up after it had taken them.
    reportPanTilt(camera->panTiltOutcome(), __PRETTY_FUNCTION__);
    reportZoom(camera->zoomOutcome(), __PRETTY_FUNCTION__);
    QUILL_LOG(kResult, kLogCategory) << "Done.";
}

void HardwareDriver::setPanTilt(int pan, int tilt)
{
    const VISCACameraPtr camera = openCamera(devicePath, __PRETTY_FUNCTION__);
    if (camera == nullptr) return;
    QUILL_LOGF(kResult, kLogCategory, "setPanTilt(%d,%d)", pan, tilt);
    reportPanTilt(camera->setPanTiltPosition(15, 15, pan, tilt, kMoveTimeout), __PRETTY_FUNCTION__);
    waitNotMoving(camera);
    reportPanTilt(camera->panTiltOutcome(), __PRETTY_FUNCTION__);
}

void HardwareDriver::getPanTiltZoom()
{
    const VISCACameraPtr camera = openCamera(devicePath, __PRETTY_FUNCTION__);
    if (camera == nullptr) return;
    int pan = 0;
    int tilt = 0;
    uint16_t zoom = 0;
    // The camera library says why one fails; 0 stands for what is not known.
    (void)camera->getPanTiltPosition(&pan, &tilt, kQueryTimeout);
    (void)camera->getZoomPosition(&zoom, kQueryTimeout);
    QUILL_LOGF(kResult, kLogCategory, "pan=%d tilt=%d zoom=%d\n", pan, tilt, zoom);
}

void HardwareDriver::resetPanTilt()
{
    const VISCACameraPtr camera = openCamera(devicePath, __PRETTY_FUNCTION__);
    if (camera == nullptr) return;
    camera->rehomePanTilt(kRehomeTimeout);
}

void HardwareDriver::waitNotMoving(const VISCACameraPtr& camera)
{
    const Time end = Time::now() + kMaxMotion;
    Time silenceEnd = Time::now() + kMaxSilence;
    Reading reference;
    for (int countdown = 2; countdown > 0;) {
        quill::sleep(kPollInterval);
        Reading reading;
        const int result = readPosition(*camera, &reading);
        if (result == 0) {
            silenceEnd = Time::now() + kMaxSilence;
            countdown = reading == reference ? countdown - 1 : 2;
            reference = reading;
        }
        const char* reason = reasonToGiveUp(result, silenceEnd, end);
        if (countdown > 0 && reason != nullptr) {
            QUILL_LOGF(kFailure, kLogCategory, "Not waiting for the camera any longer: %s.",
                       reason);
            return;
        }
    }
    QUILL_LOGF(kResult, kLogCategory, "pan=%d tilt=%d zoom=%d", reference.pan, reference.tilt,
               reference.zoom);
}

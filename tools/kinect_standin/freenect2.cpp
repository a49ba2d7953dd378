#include <libfreenect2/libfreenect2.hpp>

#include <cstdlib>
#include <memory>

#include "log.h"
#include "sensor_socket.h"
#include "stream_worker.h"

namespace libfreenect2
{
namespace
{

using quill::kinect::MessageKind;
using quill::kinect::SensorStatus;

constexpr const char* kSerial = "012345678947";

/// The words in which the library on libusb tells that the device node may not be opened.
constexpr const char* kNoPermission =
    "failed to open Kinect v2: LIBUSB_ERROR_ACCESS Access denied (insufficient permissions)";
constexpr const char* kBusy = "failed to claim interface: LIBUSB_ERROR_BUSY Resource busy";
/// Its last word on every sensor that it cannot open; what follows the place is often empty.
constexpr const char* kNotOpened = "failed to open Kinect v2: @2:2 ";

class SimulatedDevice final : public Freenect2Device
{
  public:
    explicit SimulatedDevice(std::unique_ptr<const PacketPipeline> pipeline)
        : m_pipeline(std::move(pipeline))
    {}
    ~SimulatedDevice() override { close(); }

    std::string getSerialNumber() override { return kSerial; }
    void setColorFrameListener(FrameListener* listener) override { m_colourListener = listener; }
    void setIrAndDepthFrameListener(FrameListener* listener) override
    {
        m_infraredListener = listener;
    }
    void setConfiguration(const Config& config) override
    {
        log(Logger::Info,
            std::string("depth filters ") +
                (config.EnableBilateralFilter || config.EnableEdgeAwareFilter ? "on" : "off"));
    }
    bool startStreams(bool rgb, bool depth) override
    {
        if ((!rgb || m_colour.start(m_colourListener)) &&
            (!depth || m_infrared.start(m_infraredListener)))
            return true;
        m_hasTransfersInFlight = rgb;
        stopWorkers();
        return false;
    }
    bool stop() override
    {
        stopWorkers();
        return true;
    }
    bool close() override
    {
        // The library would free them while the USB stack writes to them.
        if (m_hasTransfersInFlight) std::abort();
        return stop();
    }

  private:
    void stopWorkers()
    {
        m_colour.stop();
        m_infrared.stop();
    }

    std::unique_ptr<const PacketPipeline> m_pipeline;  // ours by the interface; nothing to decode
    bool m_hasTransfersInFlight = false;               // of colour, after a start that failed
    FrameListener* m_colourListener = nullptr;
    FrameListener* m_infraredListener = nullptr;
    StreamWorker m_colour{Frame::Color};
    StreamWorker m_infrared{Frame::Ir};
};

/// @return Absent, too, where nobody answers
SensorStatus sensorStatus()
{
    const auto socket = SensorSocket::open(MessageKind::AskStatus);
    return socket ? socket->status() : SensorStatus::Absent;
}

/// A sensor that another program holds can be looked at.
bool isSensorThere()
{
    const SensorStatus status = sensorStatus();
    if (status == SensorStatus::NoPermission) {
        logError(kNoPermission);
        logError(kNotOpened);
    }
    return status == SensorStatus::Ready || status == SensorStatus::Busy;
}

}  // namespace

PacketPipeline::~PacketPipeline() = default;
CpuPacketPipeline::CpuPacketPipeline() = default;
CpuPacketPipeline::~CpuPacketPipeline() = default;

Freenect2Device::~Freenect2Device() = default;

Freenect2::Freenect2(void*) {}
Freenect2::~Freenect2() = default;

int Freenect2::enumerateDevices()
{
    return isSensorThere() ? 1 : 0;
}

std::string Freenect2::getDefaultDeviceSerialNumber()
{
    return isSensorThere() ? kSerial : "";
}

Freenect2Device* Freenect2::openDevice(const std::string& serial, const PacketPipeline* factory)
{
    std::unique_ptr<const PacketPipeline> pipeline(factory);
    if (serial != kSerial || !isSensorThere()) return nullptr;
    if (sensorStatus() == SensorStatus::Busy) {
        logError(kBusy);
        logError(kNotOpened);
        return nullptr;
    }
    return new SimulatedDevice(std::move(pipeline));
}

}  // namespace libfreenect2

#pragma once

#include <libfreenect2/frame_listener.hpp>
#include <libfreenect2/packet_pipeline.h>
#include <memory>
#include <string>

namespace libfreenect2
{

/// An open sensor. Deleting it closes it; the listeners must live until then.
class Freenect2Device
{
  public:
    virtual ~Freenect2Device();

    /// How depth is made of infrared.
    struct Config
    {
        float MinDepth = 0.5F;  ///< m
        float MaxDepth = 4.5F;
        bool EnableBilateralFilter = true;
        bool EnableEdgeAwareFilter = true;
    };

    virtual std::string getSerialNumber() = 0;
    virtual void setColorFrameListener(FrameListener* listener) = 0;
    virtual void setIrAndDepthFrameListener(FrameListener* listener) = 0;

    virtual void setConfiguration(const Config& config) = 0;

    /// @param depth  infrared comes with it
    virtual bool startStreams(bool rgb, bool depth) = 0;
    /// No listener is called any more once it returns.
    virtual bool stop() = 0;
    virtual bool close() = 0;
};

/// Finds and opens sensors. Failures are told by the result and by an error of the Logger.
class Freenect2
{
  public:
    explicit Freenect2(void* usb_context = nullptr);
    virtual ~Freenect2();
    Freenect2(const Freenect2&) = delete;
    Freenect2& operator=(const Freenect2&) = delete;

    /// @return how many sensors can be opened
    int enumerateDevices();

    /// @return empty where there is none
    std::string getDefaultDeviceSerialNumber();

    /// @param factory  owned by the library from now on, whatever the result
    /// @return null on failure; to be deleted by the caller
    Freenect2Device* openDevice(const std::string& serial, const PacketPipeline* factory);
};

}  // namespace libfreenect2

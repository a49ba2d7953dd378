#include "devices/kinect/kinect_sensor.h"

#include <libfreenect2/libfreenect2.hpp>

#include <csignal>
#include <optional>
#include <utility>
#include <vector>

#include "common/interrupt.h"
#include "common/logging.h"
#include "kinect_failure.h"
#include "latest_frames.h"
#include "library_log.h"
#include "stream_watch.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "kinect";

/// Keeps the signals that end a run off the threads started meanwhile: they are for the main one.
class SignalsBlocked
{
  public:
    SignalsBlocked()
    {
        const sigset_t signals = interruptSignals();
        pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before;
};

/// What is left open until the process ends. The library submits its colour transfers before it
/// starts infrared; when it closes a device whose start has failed, it frees those that are in
/// flight.
struct Abandoned
{
    std::shared_ptr<LatestFrames> listener;
    std::unique_ptr<libfreenect2::Freenect2> library;
    std::unique_ptr<libfreenect2::Freenect2Device> device;
};

std::vector<Abandoned>& abandoned()
{
    static auto* const neverDestroyed = new std::vector<Abandoned>;
    return *neverDestroyed;
}

}  // namespace

struct KinectSensor::Impl
{
    std::shared_ptr<GPIOPin> powerPin;
    bool isRGBEnabled = false;
    std::shared_ptr<LatestFrames> frames = std::make_shared<LatestFrames>();
    std::shared_ptr<KinectHandle> handle = std::make_shared<KinectHandle>(frames);
    // In this order: the device must go before the library and before its listener, the frames.
    std::unique_ptr<libfreenect2::Freenect2> library;
    std::unique_ptr<libfreenect2::Freenect2Device> device;
    std::optional<StreamWatch> watch;
    std::optional<InterruptCleanup> cleanup;

    std::optional<Error> start();
    void stop();
    void abandon();
};

std::optional<Error> KinectSensor::Impl::start()
{
    const SignalsBlocked blocked;
    LibraryLog& log = LibraryLog::install();
    log.forgetErrors();
    frames->clear();
    library = std::make_unique<libfreenect2::Freenect2>();
    if (library->enumerateDevices() == 0) return kinectFailure("find", log.cause());
    log.forgetErrors();
    // The decoder that needs neither a graphics card nor a display.
    device.reset(library->openDevice(library->getDefaultDeviceSerialNumber(),
                                     new libfreenect2::CpuPacketPipeline));
    if (device == nullptr) return kinectFailure("open", log.cause());
    log.forgetErrors();
    // Nobody looks at the depths that come with infrared: their filters would take a whole
    // processor.
    libfreenect2::Freenect2Device::Config config;
    config.EnableBilateralFilter = false;
    config.EnableEdgeAwareFilter = false;
    device->setConfiguration(config);
    device->setColorFrameListener(frames.get());
    device->setIrAndDepthFrameListener(frames.get());
    if (!device->startStreams(isRGBEnabled, true)) {
        const Error error = kinectFailure("start", log.cause());
        if (isRGBEnabled) abandon();
        return error;
    }
    watch.emplace(*frames, isRGBEnabled);
    QUILL_LOG(kTrace, kCategory) << "sensor " << device->getSerialNumber() << " streams";
    return std::nullopt;
}

void KinectSensor::Impl::abandon()
{
    abandoned().push_back({frames, std::move(library), std::move(device)});
}

void KinectSensor::Impl::stop()
{
    watch.reset();
    if (device != nullptr) {
        device->stop();
        device->close();
        device.reset();
        QUILL_LOG(kTrace, kCategory) << "sensor closed: " << frames->summary();
    }
    library.reset();
}

KinectSensor::KinectSensor(const std::shared_ptr<GPIOPin>& pin) : m_impl(std::make_unique<Impl>())
{
    m_impl->powerPin = pin;
}

KinectSensor::~KinectSensor()
{
    setMasterSwitch(false);
}

void KinectSensor::setEnableRGB(bool enable)
{
    m_impl->isRGBEnabled = enable;
}

bool KinectSensor::setMasterSwitch(bool on)
{
    const bool isStreaming = m_impl->device != nullptr;
    if (on == isStreaming) return on;
    const auto error = on ? m_impl->start() : std::nullopt;
    if (on && !error) {
        m_impl->cleanup.emplace([this] { m_impl->stop(); });
        return true;
    }
    m_impl->stop();
    m_impl->cleanup.reset();
    if (error) QUILL_LOG(kWarning, kCategory) << error->text();
    return false;
}

std::shared_ptr<KinectHandle> KinectSensor::getHandle()
{
    return m_impl->handle;
}

}  // namespace quill

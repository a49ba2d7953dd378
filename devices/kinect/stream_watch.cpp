#include "stream_watch.h"

#include <chrono>
#include <filesystem>

#include "common/logging.h"
#include "kinect_failure.h"
#include "library_log.h"

namespace quill
{
namespace
{

// Time is counted in looks, so that on a busy computer, where frames are late, it goes slower too.
constexpr std::chrono::milliseconds kLookInterval(100);
constexpr int kLooksPerSecond = 10;
constexpr int kPatience = 2;       // s without a usable frame
constexpr int kFirstPatience = 5;  // s, when nothing has come so far

}  // namespace

StreamWatch::StreamWatch(const LatestFrames& frames, bool hasColour)
    : m_frames(frames),
      m_hasColour(hasColour),
      m_sensorPath(kinectSysPath()),
      m_thread(&StreamWatch::run, this)
{}

StreamWatch::~StreamWatch()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_ends.notify_one();
    m_thread.join();
}

void StreamWatch::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_ends.wait_for(lock, kLookInterval, [this] { return m_isEnding; }))
        if (const auto error = look()) {
            QUILL_LOG(kWarning, "kinect") << error->text();
            return;
        }
}

std::optional<Error> StreamWatch::look()
{
    ++m_looks;
    const LatestFrames::Counts now = m_frames.counts();
    if (now.colour != m_seen.colour) m_colourSince = m_looks;
    if (now.infrared != m_seen.infrared) m_infraredSince = m_looks;
    m_seen = now;

    const std::string cause = LibraryLog::install().cause();
    const std::string soFar = "; " + m_frames.summary() + " so far";
    std::error_code none;
    if (cause.find("LIBUSB_ERROR_NO_DEVICE") != std::string::npos ||
        (!m_sensorPath.empty() && !std::filesystem::exists(m_sensorPath, none)))
        return Error{"Kinect", "stream", 0, "the sensor is gone from the USB bus" + soFar,
                     "plug it in again and check its power supply"};

    const bool hasBegun = now.colour + now.infrared + now.dropped > 0 || !cause.empty();
    const int patience = hasBegun ? kPatience : kFirstPatience;
    const auto isSilent = [&](int since) { return m_looks - since >= patience * kLooksPerSecond; };
    const bool lacksColour = m_hasColour && isSilent(m_colourSince);
    if (!lacksColour && !isSilent(m_infraredSince)) return std::nullopt;
    const bool lacksBoth = lacksColour && isSilent(m_infraredSince);
    const std::string which = lacksBoth ? "" : lacksColour ? "colour " : "infrared ";
    return Error{"Kinect", "stream", 0,
                 "no usable " + which + "frame for " + std::to_string(patience) + " s" + soFar +
                     (cause.empty() ? "" : "; the library says: " + cause),
                 "plug it into a port of another USB 3 controller and check its power supply"};
}

}  // namespace quill

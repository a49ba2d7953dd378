#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "common/error.h"
#include "latest_frames.h"

namespace quill
{

/// Looks after streams that have been started, on a thread of its own, and logs once, at level 3,
/// when nothing more will come of them: the sensor is unplugged, or a stream brings no usable frame
/// for 2 s (5 s where none has ever come, since a sensor needs some to start).
class StreamWatch
{
  public:
    /// @param frames     where they arrive; must live as long as the watch
    /// @param hasColour  whether colour is to come as well as infrared
    StreamWatch(const LatestFrames& frames, bool hasColour);
    /// Ends at once.
    ~StreamWatch();
    StreamWatch(const StreamWatch&) = delete;
    StreamWatch& operator=(const StreamWatch&) = delete;

  private:
    void run();
    std::optional<Error> look();

    const LatestFrames& m_frames;
    const bool m_hasColour;
    const std::string m_sensorPath;  // where the system lists it; may be empty
    int m_looks = 0;
    LatestFrames::Counts m_seen;
    int m_colourSince = 0;  // the look that saw the last new frame
    int m_infraredSince = 0;
    std::mutex m_mutex;
    std::condition_variable m_ends;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace quill

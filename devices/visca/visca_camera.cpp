#include "devices/visca/visca_camera.h"

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "common/logging.h"
#include "devices/visca/visca_codec.h"
#include "visca_conversation.h"

namespace quill
{
namespace
{

using visca::Bytes;
using visca::Conversation;

constexpr const char* kCategory = "visca";

int resultOf(const std::optional<Error>& error)
{
    if (!error) return VISCACamera::kDone;
    if (error->kind == ErrorKind::LineLost) return VISCACamera::kConnectionLost;
    return error->kind == ErrorKind::Refused ? VISCACamera::kRefused : VISCACamera::kNoAnswer;
}

/// The result for a caller who wants a number; the cause goes to the log here, once.
int report(const std::optional<Error>& error)
{
    if (error) QUILL_LOG(kWarning, kCategory) << error->text();
    return resultOf(error);
}

class SerialCamera final : public VISCACamera
{
  public:
    int openLine(const std::string& device, Duration timeout)
    {
        const int result = report(m_conversation.open(device, timeout));
        if (result == kDone && m_conversation.bitRate() != visca::kBitRate)
            QUILL_LOG(kWarning, kCategory)
                << device << ": the camera is set to " << m_conversation.bitRate()
                << " bit/s: used at that (at " << visca::kBitRate << " it is found at once)";
        return result;
    }

    int rehomePanTilt(const Duration& timeout) override
    {
        int order = 0;
        return reportAll(m_conversation.command(visca::panTiltReset(), "re-home pan and tilt",
                                                Conversation::Until::Completed, timeout, &order));
    }

    int setPanTiltPosition(int panSpeed, int tiltSpeed, int pan, int tilt,
                           const Duration& timeout) override
    {
        return order(visca::panTiltAbsolute(panSpeed, tiltSpeed, pan, tilt),
                     "move to pan " + std::to_string(pan) + ", tilt " + std::to_string(tilt) +
                         " at speeds " + std::to_string(panSpeed) + ", " +
                         std::to_string(tiltSpeed),
                     timeout, &m_panTilt);
    }

    int getPanTiltPosition(int* pan, int* tilt, const Duration& timeout) override
    {
        Bytes data;
        const int result = ask(visca::panTiltInquiry(), "ask for pan and tilt",
                               visca::kPanTiltDataBytes, &data, timeout);
        if (result != kDone) return result;
        *pan = static_cast<int16_t>(visca::decodeNibbles(data, 0));
        *tilt = static_cast<int16_t>(visca::decodeNibbles(data, 4));
        return kDone;
    }

    int setZoomPosition(int zoom, const Duration& timeout) override
    {
        return order(visca::zoomDirect(zoom), "zoom to " + std::to_string(zoom), timeout, &m_zoom);
    }

    int getZoomPosition(uint16_t* zoom, const Duration& timeout) override
    {
        Bytes data;
        const int result =
            ask(visca::zoomInquiry(), "ask for zoom", visca::kZoomDataBytes, &data, timeout);
        if (result != kDone) return result;
        *zoom = visca::decodeNibbles(data, 0);
        return kDone;
    }

    int panTiltOutcome() const override { return m_panTilt.outcome; }
    int zoomOutcome() const override { return m_zoom.outcome; }

  private:
    /// The last order to an axis.
    struct Taken
    {
        int order = 0;
        int outcome = kDone;
    };

    int order(const std::optional<Bytes>& packet, const std::string& what, Duration timeout,
              Taken* taken)
    {
        *taken = {};
        if (!packet) {
            QUILL_LOG(kWarning, kCategory)
                << m_conversation.device() << ": " << what
                << ": not sent, a value does not fit the packet (pan and tilt -32768..32767, zoom "
                   "0..65535)";
            return kOutOfRange;
        }
        return reportAll(m_conversation.command(*packet, what, Conversation::Until::Taken, timeout,
                                                &taken->order));
    }

    /// Who waits for the camera asks again and again: what fails in the same way is told once.
    int ask(const Bytes& packet, const std::string& what, size_t dataBytes, Bytes* data,
            Duration timeout)
    {
        const auto error = m_conversation.inquire(packet, what, dataBytes, data, timeout);
        const int result = resultOf(error);
        const bool isNew = error && m_told.insert({what, result}).second;
        (void)reportAll(isNew ? error : std::nullopt);
        return result;
    }

    int reportAll(const std::optional<Error>& error)
    {
        reportLateRefusals();
        return report(error);
    }

    void reportLateRefusals()
    {
        for (const auto& refusal : m_conversation.takeLateRefusals()) {
            (void)report(refusal.error);
            for (Taken* taken : {&m_panTilt, &m_zoom})
                if (taken->order == refusal.order) taken->outcome = kRefused;
        }
    }

    Taken m_panTilt;
    Taken m_zoom;
    std::set<std::pair<std::string, int>> m_told;  ///< inquiries that failed, and how
    Conversation m_conversation{DeviceLine()};
};

}  // namespace

std::shared_ptr<VISCACamera> VISCACamera::open(const std::string& device, const Duration& timeout)
{
    auto camera = std::make_shared<SerialCamera>();
    return camera->openLine(device, timeout) == kDone ? camera : nullptr;
}

}  // namespace quill

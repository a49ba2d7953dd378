#include "devices/visca/visca_camera.h"

#include <optional>

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

/// The result for a caller who wants a number; the cause goes to the log here, once.
int report(const std::optional<Error>& error)
{
    if (!error) return VISCACamera::kDone;
    QUILL_LOG(kWarning, kCategory) << error->text();
    if (isLineLost(*error)) return VISCACamera::kConnectionLost;
    return error->number == 0 ? VISCACamera::kRefused : VISCACamera::kNoAnswer;
}

class SerialCamera final : public VISCACamera
{
  public:
    [[nodiscard]] std::optional<Error> openLine(const std::string& device, Duration timeout)
    {
        return m_conversation.open(device, timeout);
    }

    int rehomePanTilt(const Duration& timeout) override
    {
        return report(m_conversation.command(visca::panTiltReset(), "re-home pan and tilt",
                                             Conversation::Until::Completed, timeout));
    }

    int setPanTiltPosition(int panSpeed, int tiltSpeed, int pan, int tilt,
                           const Duration& timeout) override
    {
        return order(visca::panTiltAbsolute(panSpeed, tiltSpeed, pan, tilt),
                     "move to pan " + std::to_string(pan) + ", tilt " + std::to_string(tilt) +
                         " at speeds " + std::to_string(panSpeed) + ", " +
                         std::to_string(tiltSpeed),
                     timeout);
    }

    int getPanTiltPosition(int* pan, int* tilt, const Duration& timeout) override
    {
        Bytes data;
        const int result =
            report(m_conversation.inquire(visca::panTiltInquiry(), "ask for pan and tilt",
                                          visca::kPanTiltDataBytes, &data, timeout));
        if (result != kDone) return result;
        *pan = static_cast<int16_t>(visca::decodeNibbles(data, 0));
        *tilt = static_cast<int16_t>(visca::decodeNibbles(data, 4));
        return kDone;
    }

    int setZoomPosition(int zoom, const Duration& timeout) override
    {
        return order(visca::zoomDirect(zoom), "zoom to " + std::to_string(zoom), timeout);
    }

    int getZoomPosition(uint16_t* zoom, const Duration& timeout) override
    {
        Bytes data;
        const int result = report(m_conversation.inquire(visca::zoomInquiry(), "ask for zoom",
                                                         visca::kZoomDataBytes, &data, timeout));
        if (result != kDone) return result;
        *zoom = visca::decodeNibbles(data, 0);
        return kDone;
    }

  private:
    int order(const std::optional<Bytes>& packet, const std::string& what, Duration timeout)
    {
        if (!packet) {
            QUILL_LOG(kWarning, kCategory)
                << m_conversation.device() << ": " << what
                << ": not sent, a value does not fit the packet (pan and tilt -32768..32767, zoom "
                   "0..65535)";
            return kOutOfRange;
        }
        return report(m_conversation.command(*packet, what, Conversation::Until::Taken, timeout));
    }

    Conversation m_conversation{DeviceLine()};
};

}  // namespace

std::shared_ptr<VISCACamera> VISCACamera::open(const std::string& device, const Duration& timeout)
{
    auto camera = std::make_shared<SerialCamera>();
    return report(camera->openLine(device, timeout)) == kDone ? camera : nullptr;
}

}  // namespace quill

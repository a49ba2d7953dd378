#include "test_camera.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "axis_motion.h"
#include "devices/visca/visca_camera.h"

namespace quill::app
{
namespace
{

/// Just after power-up an answer may take 3 s.
constexpr Duration kOpenTimeout = seconds(5);
constexpr Duration kOrderTimeout = seconds(4);
constexpr Duration kQueryTimeout = seconds(1);
constexpr Duration kMoveTimeout = seconds(5);

constexpr int kSpeed = 15;
constexpr int kPanTiltStep = 50;
constexpr int kPanTiltTolerance = 4;
constexpr int kZoomStep = 256;
constexpr int kZoomTolerance = 8;

/// What pan, tilt and zoom have in common.
class CameraAxis : public Axis
{
  public:
    CameraAxis(AxisTraits traits, VISCACamera& camera) : Axis(std::move(traits)), m_camera(camera)
    {}

    Answer order(int goal, Duration timeout) override
    {
        const int result = m_lastResult = send(goal, std::min(timeout, kOrderTimeout));
        if (result == VISCACamera::kDone) return Answer::Taken;
        const bool isRefused =
            result == VISCACamera::kRefused || result == VISCACamera::kOutOfRange;
        return isRefused ? Answer::Refused : Answer::None;
    }

    std::optional<int> position() override
    {
        int position = 0;
        m_lastResult = ask(&position);
        return m_lastResult == VISCACamera::kDone ? std::make_optional(position) : std::nullopt;
    }

    bool isLost() const override { return m_lastResult == VISCACamera::kConnectionLost; }

  protected:
    virtual int send(int goal, Duration timeout) = 0;
    virtual int ask(int* position) = 0;

    VISCACamera& m_camera;

  private:
    int m_lastResult = VISCACamera::kDone;
};

struct PanTilt
{
    int pan = 0;
    int tilt = 0;
};

/// An order names both axes: the other one is held at home.
class PanTiltAxis final : public CameraAxis
{
  public:
    PanTiltAxis(AxisTraits traits, VISCACamera& camera, int PanTilt::*axis)
        : CameraAxis(std::move(traits), camera), m_axis(axis)
    {}

    /// To be told before the first order.
    void setHome(const PanTilt& home) { m_home = home; }

  private:
    int send(int goal, Duration timeout) override
    {
        PanTilt both = m_home.value();
        both.*m_axis = goal;
        return m_camera.setPanTiltPosition(kSpeed, kSpeed, both.pan, both.tilt, timeout);
    }

    int ask(int* position) override
    {
        PanTilt both;
        const int result = m_camera.getPanTiltPosition(&both.pan, &both.tilt, kQueryTimeout);
        *position = both.*m_axis;
        return result;
    }

    std::optional<PanTilt> m_home;
    int PanTilt::*m_axis;
};

class ZoomAxis final : public CameraAxis
{
  public:
    using CameraAxis::CameraAxis;

  private:
    int send(int goal, Duration timeout) override
    {
        return m_camera.setZoomPosition(goal, timeout);
    }

    int ask(int* position) override
    {
        uint16_t zoom = 0;
        const int result = m_camera.getZoomPosition(&zoom, kQueryTimeout);
        *position = zoom;
        return result;
    }
};

/// A step up or down, that which is surely in reach first: towards 0, the home position and the
/// wide end, which every camera reaches.
std::vector<int> goalsAround(int home, int step)
{
    if (home >= step) return {home - step, home + step};
    return {home + step, home - step};
}

struct CameraMove
{
    Axis* axis;
    int step;
    int home = 0;
};

bool testMoves(const DeviceName& device, VISCACamera& camera, RigGuard& guard)
{
    PanTiltAxis pan({device, "pan", "steps", kPanTiltTolerance, kMoveTimeout}, camera,
                    &PanTilt::pan);
    PanTiltAxis tilt({device, "tilt", "steps", kPanTiltTolerance, kMoveTimeout}, camera,
                     &PanTilt::tilt);
    ZoomAxis zoom({device, "zoom", "steps", kZoomTolerance, kMoveTimeout}, camera);

    std::array<CameraMove, 3> moves = {
        {{&pan, kPanTiltStep}, {&tilt, kPanTiltStep}, {&zoom, kZoomStep}}};
    for (CameraMove& move : moves) {
        const auto position = awaitRest(*move.axis, guard.report());
        if (!position) return false;
        move.home = *position;
    }
    for (PanTiltAxis* axis : {&pan, &tilt}) axis->setHome({moves[0].home, moves[1].home});
    return std::all_of(moves.begin(), moves.end(), [&](const CameraMove& move) {
        return moveThereAndBack(*move.axis, move.home, goalsAround(move.home, move.step), guard);
    });
}

}  // namespace

bool testCamera(const DeviceName& device, RigGuard& guard)
{
    guard.report().begin(device, "open");
    const auto camera = VISCACamera::open(device.path, kOpenTimeout);
    if (camera == nullptr)
        return guard.report().fail("an answer within 5 s", "none (cause logged before)");
    return testMoves(device, *camera, guard);
}

}  // namespace quill::app

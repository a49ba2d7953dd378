#include "devices/rig_test/ptz_system_tester.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>

#include "common/interrupt.h"
#include "devices/dynamixel/dxl_device.h"
#include "devices/laser/guarded_laser.h"
#include "devices/visca/visca_camera.h"
#include "support/fake_clock.h"
#include "support/fake_dxl_device.h"

using quill::Duration;
using quill::seconds;
using quill::VISCACamera;
using quill::app::PTZSystemTester;
using support::fakeBus;
using testing::ElementsAre;

namespace
{

constexpr int kTorque = 24, kGoal = 30, kPosition = 36;

using Registers = std::map<int, int>;

/// The devices that the tester meets. A hook that gives nothing leaves it to the healthy device.
struct FakeRig
{
    std::map<char, int> camera = {{'p', 0}, {'t', 0}, {'z', 0}};
    bool hasCamera = true;
    std::function<std::optional<int>(char axis, int goal)> onCameraOrder;
    std::function<int()> onCameraQuery = [] { return 0; };

    std::map<int, Registers> servos;
    std::function<std::optional<int>(int id, int address, int value)> onServoWrite;
    bool isBusLost = false;

    std::function<bool(bool on)> onLaser = [](bool) { return true; };
    bool isLaserOn = true;  // left so by whoever used it before
};
FakeRig s_rig;

void note(const std::string& call)
{
    fakeBus.calls.push_back(call);
}

/// An interrupt here would have the clean-up use a line that is in the middle of an exchange.
void expectUninterrupted()
{
    EXPECT_EQ(quill::interruptDescriptor(), -1);
}

class FakeCamera final : public VISCACamera
{
  public:
    ~FakeCamera() override { note("camera close"); }
    int rehomePanTilt(const Duration&) override { return kRefused; }
    int setPanTiltPosition(int, int, int pan, int tilt, const Duration&) override
    {
        if (tilt == s_rig.camera['t']) return move('p', pan);
        EXPECT_EQ(pan, s_rig.camera['p']) << "the other axis stays";
        return move('t', tilt);
    }
    int getPanTiltPosition(int* pan, int* tilt, const Duration&) override
    {
        *pan = s_rig.camera['p'];
        *tilt = s_rig.camera['t'];
        return s_rig.onCameraQuery();
    }
    int setZoomPosition(int zoom, const Duration&) override { return move('z', zoom); }
    int getZoomPosition(uint16_t* zoom, const Duration&) override
    {
        *zoom = static_cast<uint16_t>(s_rig.camera['z']);
        return s_rig.onCameraQuery();
    }

  private:
    static int move(char axis, int goal)
    {
        expectUninterrupted();
        note(std::string("camera ") + axis + " " + std::to_string(goal));
        if (s_rig.onCameraOrder)
            if (const auto result = s_rig.onCameraOrder(axis, goal)) return *result;
        s_rig.camera[axis] = goal;
        return kDone;
    }
};

int readServo(int id, int address)
{
    const auto servo = s_rig.servos.find(id);
    return servo == s_rig.servos.end() || s_rig.isBusLost ? -1 : servo->second[address];
}

int writeServo(int id, int address, int value)
{
    expectUninterrupted();
    if (s_rig.onServoWrite)
        if (const auto result = s_rig.onServoWrite(id, address, value)) return *result;
    s_rig.servos[id][address] = value;
    if (address != kGoal) return 1;
    s_rig.servos[id][kTorque] = 1;
    s_rig.servos[id][kPosition] = value;
    return 1;
}

/// Servo `id` at 2048: 12 V of 6..16, 35 of 80 degrees, limits 0..4095; only tilt has torque.
Registers healthyServo(int id)
{
    return {{3, id},   {6, 0},   {8, 4095},         {11, 80},      {12, 60},         {13, 160},
            {42, 120}, {43, 35}, {kTorque, id - 1}, {kGoal, 2048}, {kPosition, 2050}};
}

void buildRig()
{
    s_rig = {};
    for (const int id : {1, 2}) s_rig.servos[id] = healthyServo(id);
    fakeBus = {};
    fakeBus.read = readServo;
    fakeBus.write = writeServo;
    fakeBus.isLineLost = [] { return s_rig.isBusLost; };
}

std::vector<std::string> callsWithoutReads()
{
    std::vector<std::string> calls;
    for (const std::string& call : fakeBus.calls)
        if (call.rfind("read", 0) != 0) calls.push_back(call);
    return calls;
}

}  // namespace

std::shared_ptr<VISCACamera> VISCACamera::open(const std::string& device, const Duration&)
{
    note("camera open " + device);
    EXPECT_GE(quill::interruptDescriptor(), 0) << "interrupts are watched";
    return s_rig.hasCamera ? std::make_shared<FakeCamera>() : nullptr;
}

struct quill::GuardedLaser::Lit
{};

namespace
{

bool switchLaser(const std::string& device, bool on)
{
    expectUninterrupted();
    note("laser " + device + (on ? " on" : " off"));
    if (!s_rig.onLaser(on)) return false;
    s_rig.isLaserOn = on;
    return true;
}

}  // namespace

quill::GuardedLaser::GuardedLaser(const std::string& device) : m_device(device) {}
quill::GuardedLaser::~GuardedLaser() = default;

bool quill::GuardedLaser::switchOn()
{
    return switchLaser(m_device, true);
}

bool quill::GuardedLaser::switchOff()
{
    return switchLaser(m_device, false);
}

namespace
{

class PTZSystemTesterTest : public testing::Test
{
  protected:
    PTZSystemTesterTest()
    {
        quill::watchInterrupts();
        buildRig();
    }
    ~PTZSystemTesterTest() override { quill::unwatchInterrupts(); }

    PTZSystemTester m_tester{"/dev/cam", "/dev/pan", "/dev/tilt", "/dev/las"};
};

TEST_F(PTZSystemTesterTest, GoesThroughTheRigInOrderAndLeavesItAsItWas)
{
    s_rig.camera = {{'p', 300}, {'t', -200}, {'z', 1000}};
    EXPECT_TRUE(m_tester.runAllTests());
    EXPECT_EQ(m_tester.getLastError(), "");
    EXPECT_THAT(callsWithoutReads(),
                ElementsAre("camera open /dev/cam", "camera p 250", "camera p 300", "camera t -150",
                            "camera t -200", "camera z 744", "camera z 1000",
                            "camera close",  //
                            "open /dev/pan 34", "writeword 1 30 2098", "writeword 1 30 2048",
                            "write 1 24 0", "close",  //
                            "open /dev/tilt 34", "writeword 2 30 2098", "writeword 2 30 2048",
                            "close", "laser /dev/las on", "laser /dev/las off"));
    EXPECT_LT(support::takeSlept(), seconds(10));
}

TEST_F(PTZSystemTesterTest, ChoosesStepsThatStayInReach)
{
    s_rig.camera = {{'p', 2250}, {'t', 0}, {'z', 100}};
    s_rig.onCameraOrder = [](char axis, int goal) -> std::optional<int> {
        if (axis == 't' && goal > 0) return VISCACamera::kRefused;
        return std::nullopt;
    };
    s_rig.servos[1][8] = 2060;  // no room upwards
    EXPECT_TRUE(m_tester.runAllTests()) << m_tester.getLastError();
    const auto calls =
        testing::AllOf(testing::Contains("camera p 2200"), testing::Contains("camera t -50"),
                       testing::Contains("camera z 356"), testing::Contains("writeword 1 30 1998"));
    EXPECT_THAT(fakeBus.calls, calls);
}

std::optional<int> stuckCamera(char, int)
{
    return VISCACamera::kDone;
}

/// Takes the move out, then does as `result` says without moving.
template <typename Result>
auto onWayBack(int home, Result result)
{
    return [=](auto, int goal) -> std::optional<int> {
        return goal == home ? std::make_optional(result()) : std::nullopt;
    };
}

TEST_F(PTZSystemTesterTest, NamesTheFirstFailureAndWhatCouldNotBeBroughtBack)
{
    const std::string laserOff =
        "; and laser /dev/las: switch off: expected its line to take the "
        "order, came an error (logged before)";
    const std::string notBack = "return pan to 0: expected position 0 within 4, came ";
    const struct
    {
        std::function<void()> fault;
        std::string error;
        bool isBack = true;
    } cases[] = {
        {[] { s_rig.hasCamera = false; },
         "camera /dev/cam: open: expected an answer within 5 s, came none (cause logged before)"},
        {[] { s_rig.onCameraQuery = [] { return int{VISCACamera::kNoAnswer}; }; },
         "camera /dev/cam: read pan position at rest: expected two equal positions in a row, came "
         "no answer after 3 s"},
        {[] { s_rig.onCameraOrder = [](char, int) { return VISCACamera::kRefused; }; },
         "camera /dev/cam: move pan by -50 steps: expected the order to be taken, came a refusal "
         "both ways"},
        {[] { s_rig.onCameraOrder = stuckCamera; },
         "camera /dev/cam: move pan by 50 steps: expected position 50 within 4, came 0 after 5 s"},
        {[] { s_rig.onCameraOrder = onWayBack(0, [] { return int{VISCACamera::kDone}; }); },
         "camera /dev/cam: " + notBack + "50 after 5 s", false},
        {[] { s_rig.onCameraOrder = onWayBack(0, [] { return int{VISCACamera::kNoAnswer}; }); },
         "camera /dev/cam: " + notBack + "50 after 5 s", false},
        {[] {
             s_rig.onCameraQuery = [] {
                 return int{s_rig.camera['p'] == 0 ? VISCACamera::kDone
                                                   : VISCACamera::kConnectionLost};
             };
             s_rig.onCameraOrder = onWayBack(0, [] { return int{VISCACamera::kConnectionLost}; });
         },
         "camera /dev/cam: move pan by 50 steps: expected position 50 within 4, came a lost "
         "connection; and camera /dev/cam: " +
             notBack + "a lost connection",
         false},
        {[] {
             s_rig.onCameraQuery = []() -> int {
                 if (s_rig.camera['p'] != 0) throw std::runtime_error("out of memory");
                 return VISCACamera::kDone;
             };
         },
         "camera /dev/cam: move pan by 50 steps: expected no exception, came out of memory"},

        {[] { fakeBus.opens = false; },
         "pan servo /dev/pan: open its bus: expected a free serial line, came an error (logged "
         "before)"},
        {[] { s_rig.servos.erase(2); },
         "tilt servo /dev/tilt: read its ID: expected 2, came no answer"},
        {[] { s_rig.servos[2][3] = 3; }, "tilt servo /dev/tilt: read its ID: expected 2, came 3"},
        {[] { s_rig.servos[1][42] = 52; },
         "pan servo /dev/pan: read voltage: expected 6.0 V to 16.0 V, came 5.2 V"},
        {[] { s_rig.servos[1][42] = 161; },
         "pan servo /dev/pan: read voltage: expected 6.0 V to 16.0 V, came 16.1 V"},
        {[] { s_rig.servos[2][43] = 81; },
         "tilt servo /dev/tilt: read temperature: expected at most 80 degrees, came 81 degrees"},
        {[] { s_rig.servos[1][6] = s_rig.servos[1][8] = 0; },
         "pan servo /dev/pan: read angle limits: expected a joint, came wheel mode, both limits 0: "
         "it is not moved"},
        {[] { s_rig.servos[2][6] = s_rig.servos[2][8] = 4095; },
         "tilt servo /dev/tilt: read angle limits: expected a joint, came multi-turn mode, both "
         "limits 4095: it is not moved"},
        {[] { s_rig.servos[1][12] = -1; },
         "pan servo /dev/pan: read voltage: expected an answer, came none"},
        {[] { s_rig.servos[2][11] = -1; },
         "tilt servo /dev/tilt: read temperature: expected an answer, came none"},
        {[] { s_rig.servos[1][8] = -1; },
         "pan servo /dev/pan: read angle limits: expected an answer, came none"},
        {[] { s_rig.servos[2][46] = 1; },
         "tilt servo /dev/tilt: read that it moves no more: expected 0 within 1 s at its goal, "
         "came 1, as if it moved"},
        {[] {
             s_rig.servos[2][6] = 2020;
             s_rig.servos[2][8] = 2080;
         },
         "tilt servo /dev/tilt: find a step of 50 units: expected room within the angle limits "
         "2020 to 2080, came position 2048"},
        {[] {
             s_rig.onServoWrite = [](int, int address, int) -> std::optional<int> {
                 return address == kGoal ? std::make_optional(0) : std::nullopt;
             };
         },
         "pan servo /dev/pan: move by 50 units: expected the order to be taken, came a refusal"},
        {[] {
             s_rig.onServoWrite = [](int id, int address, int value) -> std::optional<int> {
                 if (id != 2 || address != kGoal) return std::nullopt;
                 s_rig.servos[2][kGoal] = value;
                 return 1;
             };
         },
         "tilt servo /dev/tilt: move by 50 units: expected position 2098 within 12, came 2050 "
         "after 3 s"},
        {[] {
             s_rig.onServoWrite = [](int, int, int value) -> std::optional<int> {
                 return value == 2048 ? std::make_optional(0) : std::nullopt;
             };
         },
         "pan servo /dev/pan: return to 2048: expected position 2048 within 12, came 2098 after 3 "
         "s",
         false},
        {[] {
             s_rig.onServoWrite = [](int, int address, int) -> std::optional<int> {
                 return address == kTorque ? std::make_optional(1) : std::nullopt;
             };
         },
         "pan servo /dev/pan: switch torque off again: expected torque off, came torque on", false},
        {[] {
             s_rig.onServoWrite = [](int id, int, int value) -> std::optional<int> {
                 s_rig.isBusLost = id == 2 && value == 2098;
                 return std::nullopt;
             };
         },
         "tilt servo /dev/tilt: move by 50 units: expected the order to be taken, came a lost "
         "connection; and tilt servo /dev/tilt: return to 2048: expected position 2048 within 12, "
         "came a lost connection",
         false},

        {[] { s_rig.onLaser = [](bool) { return false; }; },
         "laser /dev/las: switch on: expected its line to take the order, came an error (logged "
         "before)" +
             laserOff,
         false},
        {[] { s_rig.onLaser = [](bool on) { return on; }; }, laserOff.substr(6), false},
        {[] {
             s_rig.hasCamera = false;
             s_rig.onLaser = [](bool) { return false; };
         },
         "camera /dev/cam: open: expected an answer within 5 s, came none (cause logged before)" +
             laserOff,
         false},
    };
    for (const auto& c : cases) {
        buildRig();
        c.fault();
        EXPECT_FALSE(m_tester.runAllTests()) << c.error;
        EXPECT_EQ(m_tester.getLastError(), c.error);
        EXPECT_EQ(fakeBus.calls.back(), "laser /dev/las off") << c.error;
        EXPECT_LT(support::takeSlept(), seconds(30)) << c.error;
        if (!c.isBack) continue;
        EXPECT_FALSE(s_rig.isLaserOn) << c.error;
        EXPECT_EQ(s_rig.camera['p'], 0) << c.error;
        for (auto& [id, registers] : s_rig.servos) {
            EXPECT_NEAR(registers[kPosition], 2048, 12) << c.error;
            EXPECT_EQ(registers[kTorque], id - 1) << c.error;
        }
    }
    buildRig();
    EXPECT_TRUE(m_tester.runAllTests());
    EXPECT_EQ(m_tester.getLastError(), "") << "the error of the run before is gone";
}

TEST_F(PTZSystemTesterTest, OrdersThatNoiseSwallowsAreRepeated)
{
    int lost = 4;
    s_rig.onServoWrite = [&](int, int address, int) -> std::optional<int> {
        return address == kGoal && s_rig.servos[1][kPosition] == 2098 && lost-- > 0
                   ? std::make_optional(1)
                   : std::nullopt;
    };
    EXPECT_TRUE(m_tester.runAllTests()) << m_tester.getLastError();
    EXPECT_EQ(s_rig.servos[1][kPosition], 2048);
}

}  // namespace

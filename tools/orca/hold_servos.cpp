#include "hold_servos.h"

#include "common/interrupt.h"
#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"

namespace reg = quill::dynamixel;

namespace
{

constexpr int kAttempts = 3;
constexpr quill::Duration kTimeout = quill::milliseconds(500);

/// @param hold  tells one servo, by its ID, once; returns whether it has taken it
template <typename Hold>
void holdBoth(const Hold& hold)
{
    const quill::InterruptDelay untilBothHold;
    const quill::Time deadline = quill::Time::now() + kTimeout;
    for (const int id : {kPanServoId, kTiltServoId})
        for (int attempt = 0; attempt < kAttempts; ++attempt)
            if (quill::Time::now() >= deadline || hold(id)) break;
}

}  // namespace

void holdServos(const PanTiltServos& servos)
{
    holdBoth([&](int id) {
        quill::DynamixelMotor& motor = id == kPanServoId ? *servos.pan : *servos.tilt;
        const int position = motor.getPresentPosition();
        return position >= 0 && motor.setGoalPosition(position);
    });
}

void holdServos(DxlDevice* bus)
{
    holdBoth([&](int id) {
        const int position = bus->dxl_read_word(id, reg::kPresentPosition);
        return position >= 0 && bus->dxl_write_word(id, reg::kGoalPosition, position) != 0;
    });
}

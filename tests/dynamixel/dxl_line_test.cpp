#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "common/time.h"
#include "devices/dynamixel/dxl_device.h"
#include "support/log_capture.h"
#include "tools/rigsim/pty_line.h"

// At 8 bit/s, where an exchange is waited for 15 s, so that no machine is too busy for it.
TEST(DxlLine, CarriesAnExchangeAndEndsTheNextWhenUnplugged)
{
    rigsim::PtyLine line;
    DxlDevice device;
    ASSERT_NE(device.dxl_initialize(line.path(), 249999), 0);
    EXPECT_EQ(line.bitRate(), 8u);

    std::thread servo([&line] {
        const auto awaitRequest = [&line] {
            pollfd input{line.descriptor(), POLLIN, 0};
            for (size_t have = 0; have < 8 && ::poll(&input, 1, 10000) > 0;)
                have += line.read().size();
        };
        awaitRequest();
        line.write({0xFF, 0xFF, 1, 3, 0, 0x20, 0xDB});
        awaitRequest();
        line.write({0xFF, 0xFF, 1});
        line.unplug();
    });
    const support::LogCapture log;
    EXPECT_EQ(device.dxl_read_byte(1, 43), 0x20);
    const quill::Time start = quill::Time::now();
    EXPECT_EQ(device.dxl_read_byte(1, 43), -1);
    EXPECT_TRUE(device.isLineLost());
    EXPECT_EQ(device.dxl_read_byte(1, 43), -1);
    EXPECT_LT((quill::Time::now() - start).seconds(), 5);
    servo.join();
}

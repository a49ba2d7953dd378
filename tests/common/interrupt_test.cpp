#include "common/interrupt.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include "common/startup.h"
#include "common/time.h"

namespace quill
{
namespace
{

void printOnInterrupt(const char* text)
{
    std::fputs(text, stderr);
}

/// Raises the signal while the caller is inside a long sleep.
void sleepAndBeSignalled(int signal)
{
    std::thread sender([signal, main = pthread_self()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pthread_kill(main, signal);
    });
    sleep(seconds(100));
    sender.join();
}

TEST(InterruptDeathTest, CleansUpNewestFirstAndDiesOfTheSignal)
{
    const auto run = [](int signal) {
        const auto guard = g_common_init->init();
        const InterruptCleanup outer([] { printOnInterrupt("outer."); });
        const InterruptCleanup inner([] {
            sleep(milliseconds(1));  // waits work in a clean-up
            printOnInterrupt("inner.");
        });
        sleepAndBeSignalled(signal);
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        EXPECT_EXIT(run(signal), testing::KilledBySignal(signal), "^inner\\.outer\\.$");
}

TEST(InterruptDeathTest, IsNotLostBeforeOrAfterTheWaits)
{
    const auto before = [] {
        const auto guard = g_common_init->init();
        std::raise(SIGINT);
        sleep(seconds(100));
    };
    const auto after = [] {
        auto guard = g_common_init->init();
        std::raise(SIGINT);
        guard.reset();
    };
    EXPECT_EXIT(before(), testing::KilledBySignal(SIGINT), "");
    EXPECT_EXIT(after(), testing::KilledBySignal(SIGINT), "");
}

TEST(InterruptDeathTest, WaitsForTheEndOfADelay)
{
    const auto run = [] {
        const auto guard = g_common_init->init();
        {
            const InterruptDelay outer;
            std::raise(SIGINT);
            {
                const InterruptDelay inner;
            }
            sleep(milliseconds(1));
            printOnInterrupt("not cut.");
        }
        sleep(seconds(100));
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGINT), "^not cut\\.$");
}

TEST(InterruptDeathTest, ASecondSignalKillsUnlessItComesWithTheFirst)
{
    const auto run = [](std::chrono::milliseconds pause) {
        const auto guard = g_common_init->init();
        std::thread sender([pause, main = pthread_self()] {
            pthread_kill(main, SIGTERM);
            std::this_thread::sleep_for(pause);
            pthread_kill(main, SIGTERM);
        });
        const InterruptCleanup cleanUp([] {
            sleep(milliseconds(1000));
            printOnInterrupt("done.");
        });
        sleep(seconds(100));
        sender.join();
    };
    const auto killed = testing::KilledBySignal(SIGTERM);
    EXPECT_EXIT(run(std::chrono::milliseconds(1)), killed, "^done\\.$");
    EXPECT_EXIT(run(std::chrono::milliseconds(600)), killed, "^$");
}

TEST(InterruptDeathTest, StaysIgnoredWhereTheProcessWasStartedSo)
{
    const auto run = [] {
        std::signal(SIGHUP, SIG_IGN);
        const auto guard = g_common_init->init();
        std::raise(SIGHUP);
        sleep(milliseconds(5));
        std::_Exit(3);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace quill

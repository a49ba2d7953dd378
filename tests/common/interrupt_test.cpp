#include "common/interrupt.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include "common/standard_streams.h"
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
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP})
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

/// Prints a result where `descriptor` stands for standard output, then sleeps.
void printTo(int descriptor)
{
    const auto guard = g_common_init->init();
    guardStandardStreams();
    const InterruptCleanup cleanUp([] { printOnInterrupt("safe."); });
    ::dup2(descriptor, STDOUT_FILENO);
    std::puts("result");
    std::puts("another");
    sleep(seconds(100));
}

TEST(InterruptDeathTest, AResultThatCannotBeWrittenIsToldAndEndsTheRun)
{
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    ::close(pipe[0]);
    const auto run = [&pipe](void (*pipeSignal)(int)) {
        std::signal(SIGPIPE, pipeSignal);
        printTo(pipe[1]);
    };
    const char* const told = "^standard output: Broken pipe\nsafe\\.$";
    EXPECT_EXIT(run(SIG_DFL), testing::KilledBySignal(SIGPIPE), told);
    EXPECT_EXIT(run(SIG_IGN), testing::ExitedWithCode(1), told);
    EXPECT_EXIT(printTo(::open("/dev/full", O_WRONLY)), testing::ExitedWithCode(1),
                "^standard output: No space left on device\nsafe\\.$");
}

TEST(InterruptDeathTest, EndsARunWhoseReaderReadsNoMore)
{
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_NONBLOCK), 0);
    while (::write(pipe[1], "full", 4) > 0) continue;
    ::fcntl(pipe[1], F_SETFL, 0);
    const auto run = [&pipe] {
        std::thread([main = pthread_self()] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            pthread_kill(main, SIGINT);
        }).detach();
        printTo(pipe[1]);
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGINT), "^safe\\.$");
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

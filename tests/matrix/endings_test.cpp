// Every way in which a run ends early or is stopped, at the moment when that does most harm: the
// laser is on, the servos swing. Runs on the built program and a rig in this process, in real time.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <thread>

#include "common/time.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"

namespace
{

using quill::seconds;

constexpr auto kLaserBound = seconds(3);
constexpr auto kRestBound = seconds(10);
constexpr auto kMomentBound = seconds(25);
/// What the program waits longer for an answer, since a computer that is busy is no silent servo.
constexpr const char* kLineDelay_ms = "1000";
constexpr int kLowEnd = 1000;
constexpr int kHighEnd = 3000;

enum class Reader { Stays, Goes, Stalls };

struct Ending
{
    const char* name;
    const char* redirection;  ///< of the shell; N stands for the pipe that the reader reads
    Reader reader;
    std::vector<int> signals;
    int status;
    std::vector<int> later = {};  ///< signals when the laser is off
    bool lineIsWanted = false;    ///< by another program, from the moment on
};

/// A reader of what the program writes, in the middle of a pipe that holds little.
class PipeReader
{
  public:
    PipeReader()
    {
        EXPECT_EQ(::pipe2(m_pipe.data(), 0), 0);
        ::fcntl(m_pipe[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(m_pipe[0], F_SETFL, O_NONBLOCK);
        ::fcntl(m_pipe[1], F_SETPIPE_SZ, 4096);
        // An opening of its own, since the program's may not become one that does not block.
        const std::string end = "/proc/self/fd/" + std::to_string(m_pipe[1]);
        m_filler = ::open(end.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(m_filler, 0);
    }
    ~PipeReader()
    {
        stop();
        for (const int end : m_pipe) ::close(end);
        ::close(m_filler);
    }
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    int writeEnd() const { return m_pipe[1]; }

    /// To be called when the program has its end.
    void start()
    {
        ::close(std::exchange(m_pipe[1], -1));
        m_thread = std::thread([this] {
            std::array<char, 4096> text;
            while (!m_stops)
                if (::read(m_pipe[0], text.data(), text.size()) <= 0)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }
    void stop()
    {
        m_stops = true;
        if (m_thread.joinable()) m_thread.join();
    }
    void leave()
    {
        stop();
        ::close(std::exchange(m_pipe[0], -1));
    }
    /// Whoever writes next waits.
    void stall()
    {
        stop();
        while (::write(m_filler, "", 1) == 1) continue;
    }

  private:
    std::array<int, 2> m_pipe{-1, -1};
    int m_filler = -1;
    std::atomic<bool> m_stops = false;
    std::thread m_thread;
};

/// Another program, which takes a line as soon as it gets it.
class LineTaker
{
  public:
    explicit LineTaker(const std::string& path)
        : m_thread([this, path] {
              const int line = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
              while (!m_stops && ::flock(line, LOCK_EX | LOCK_NB) != 0)
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
              while (!m_stops) std::this_thread::sleep_for(std::chrono::milliseconds(1));
              ::close(line);
          })
    {}
    ~LineTaker()
    {
        m_stops = true;
        m_thread.join();
    }
    LineTaker(const LineTaker&) = delete;
    LineTaker& operator=(const LineTaker&) = delete;

  private:
    std::atomic<bool> m_stops = false;
    std::thread m_thread;
};

class Endings : public testing::TestWithParam<Ending>
{
  protected:
    /// Runs the command up to its moment, ends it as the row says, and looks at what is left. On a
    /// computer that is too busy a device is heard too late and the moment does not come.
    void run(const std::string& command, const std::function<bool()>& awaitMoment)
    {
        for (int attempt = 0; attempt < 3; ++attempt) {
            m_laserOrdersBefore = m_rig.laserState().packets;
            if (tryRun(command, awaitMoment)) return;
        }
        FAIL() << "the moment has not come";
    }

    /// @return false when the moment has not come
    bool tryRun(const std::string& command, const std::function<bool()>& awaitMoment)
    {
        PipeReader reader;
        std::string redirection = GetParam().redirection;
        if (const size_t place = redirection.find('N'); place != std::string::npos)
            redirection.replace(place, 1, std::to_string(reader.writeEnd()));
        support::Process tool({"/bin/bash", "-c", "exec \"$@\" " + redirection, "bash", RIGTOOL,
                               "--log-level", "6", "--line-delay", kLineDelay_ms, "-t",
                               "device=" + m_rig.servosPath(), "-t", "commands=" + command});
        reader.start();
        if (!awaitMoment()) return false;
        std::optional<LineTaker> taker;
        if (GetParam().lineIsWanted) taker.emplace(m_rig.laserPath());
        if (GetParam().reader == Reader::Goes) reader.leave();
        if (GetParam().reader == Reader::Stalls) reader.stall();
        for (const int signal : GetParam().signals) tool.signal(signal);
        const auto isOff = [](const auto& laser) { return !laser.isOn; };
        EXPECT_TRUE(m_rig.waitForLaser(isOff, kLaserBound));
        for (const int signal : GetParam().later) tool.signal(signal);
        taker.reset();
        EXPECT_EQ(tool.wait().status, GetParam().status);
        for (const auto& line : m_rig.lines()) EXPECT_TRUE(isFree(line.path)) << line.device;
        return true;
    }

    /// Whether another program would get the line. TIOCEXCL is over when the rig has had its turn.
    static bool isFree(const std::string& path)
    {
        int line = -1;
        for (int look = 0; look < 500 && line < 0; ++look) {
            if (look > 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
            line = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        }
        const bool isFree = line >= 0 && ::flock(line, LOCK_EX | LOCK_NB) == 0;
        ::close(line);
        return isFree;
    }

    void endTheWholeRigTest()
    {
        run("test(" + m_rig.cameraPath() + "," + m_rig.servosPath() + "," + m_rig.laserPath() + ")",
            [this] {
                const auto isOn = [](const auto& laser) { return laser.isOn; };
                return m_rig.waitForLaser(isOn, kMomentBound);
            });
        EXPECT_EQ(m_rig.laserState().packets - m_laserOrdersBefore, 2) << "on, then off";
        for (const int id : {1, 2}) EXPECT_EQ(m_rig.servoState(id).goal, 2048) << "back";
    }

    bool awaitSwing() const
    {
        const auto swings = [](const auto& servo) { return servo.isMoving && servo.moves >= 1; };
        return m_rig.waitForServo(2, swings, kMomentBound);
    }

    /// Both stand where they were told to hold, which is no end of a swing.
    void expectHeld() const
    {
        m_rig.settle();
        for (const int id : {1, 2}) {
            const auto stands = [](const auto& servo) { return !servo.isMoving; };
            EXPECT_TRUE(m_rig.waitForServo(id, stands, kRestBound));
            const rigsim::ServoState servo = m_rig.servoState(id);
            EXPECT_NE(servo.goal, kLowEnd);
            EXPECT_NE(servo.goal, kHighEnd);
            EXPECT_NEAR(servo.position, servo.goal, 60);
        }
    }

    const rigsim::Rig m_rig;
    int m_laserOrdersBefore = 0;
};

TEST_P(Endings, OfTheWholeRigTest)
{
    endTheWholeRigTest();
}

TEST_P(Endings, OfAMotorTest)
{
    run("motortest(1000,3000,1000,3000,2)", [this] { return awaitSwing(); });
    if (GetParam().status != 0) expectHeld();
}

/// It alone of these writes to standard output.
class EndingsOfAPrecisionTest : public Endings
{};

TEST_P(EndingsOfAPrecisionTest, ByItsResults)
{
    run("dxlprecisiontest(2)", [this] { return awaitSwing(); });
}

/// The program itself can do nothing more.
class EndingsOfTheWholeRigTest : public Endings
{};

TEST_P(EndingsOfTheWholeRigTest, ByTheLasersGuard)
{
    endTheWholeRigTest();
}

const auto nameOf = [](const auto& ending) { return ending.param.name; };

INSTANTIATE_TEST_SUITE_P(
    , Endings,
    testing::Values(Ending{"Quit", "", Reader::Stays, {SIGQUIT}, 128 + SIGQUIT},
                    Ending{"LogReaderGone", "2>&N", Reader::Goes, {}, 128 + SIGPIPE},
                    Ending{
                        "LogReaderStopsAndCtrlC", "2>&N", Reader::Stalls, {SIGINT}, 128 + SIGINT},
                    Ending{"DescriptorsClosed", "<&- >&- 2>&-", Reader::Stays, {}, 0}),
    nameOf);

// SIGSTOP for Ctrl-Z: SIGTSTP is lost where the suite was started without a terminal's session.
INSTANTIATE_TEST_SUITE_P(
    , EndingsOfTheWholeRigTest,
    testing::Values(
        Ending{"Killed", "", Reader::Stays, {SIGKILL}, 128 + SIGKILL},
        Ending{"Stopped", "", Reader::Stays, {SIGSTOP}, 128 + SIGKILL, {SIGKILL}},
        Ending{"StoppedAndContinued", "", Reader::Stays, {SIGSTOP}, 0, {SIGCONT}},
        Ending{"LogReaderStops", "2>&N", Reader::Stalls, {}, 128 + SIGTERM, {SIGTERM}},
        Ending{"LineWanted", "", Reader::Stays, {}, 0, {}, true},
        Ending{"LineWantedAndKilled", "", Reader::Stays, {SIGKILL}, 128 + SIGKILL, {}, true}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    , EndingsOfAPrecisionTest,
    testing::Values(Ending{"ReaderGone", ">&N", Reader::Goes, {}, 128 + SIGPIPE},
                    Ending{"DiskFull", ">/dev/full", Reader::Stays, {}, 1},
                    Ending{"DescriptorsClosed", "<&- >&- 2>&-", Reader::Stays, {}, 1}),
    nameOf);

}  // namespace

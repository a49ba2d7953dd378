#include <gmock/gmock.h>

#include <cstdlib>

#include "common/basic_stats.h"
#include "common/logging.h"
#include "common/properties.h"
#include "support/fake_clock.h"
#include "support/fake_motors.h"
#include "support/log_capture.h"
#include "tools/orca/hardware_driver.h"

namespace
{

using support::fakeMotors;
using testing::ElementsAre;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

struct Outcome
{
    std::string out;
    Lines log;
    Lines calls;
};

class MotorCommands : public testing::Test
{
  protected:
    MotorCommands()
    {
        quill::initializeStaticProperties();
        fakeMotors = {};
        ::srandom(1);  // what an unseeded process draws
    }
    ~MotorCommands() override
    {
        quill::setLogLevel(quill::kDefaultLogLevel);
        set("margin2", "1");
    }

    static void set(const std::string& setting, const std::string& text)
    {
        quill::PropertyValue value;
        value.set<std::string>(text);
        quill::propertyTree()->getNode(setting, false)->setValue(value);
    }

    static Outcome run(const std::string& commands)
    {
        (void)support::takeSlept();
        fakeMotors.calls.clear();
        support::LogCapture capture;
        testing::internal::CaptureStdout();
        EXPECT_EQ(HardwareDriver("/dev/servos").executeCommands(commands), 0);
        return {testing::internal::GetCapturedStdout(), capture.records(), fakeMotors.calls};
    }
};

class MotorTest : public MotorCommands
{};
class PrecisionTest : public MotorCommands
{};
using MotorTestDeathTest = MotorTest;

const Lines kSwing = {"1 goal 100", "2 goal 300", "1 wait 3000 ms", "2 wait 3000 ms",
                      "1 goal 200", "2 goal 400", "1 wait 3000 ms", "2 wait 3000 ms",
                      "1 id",       "2 id"};

TEST_F(MotorTest, SwingsUntilTheTimeIsOverAndReportsEveryTwentySeconds)
{
    fakeMotors.stops = [](int) { return support::advanceClock(quill::seconds(2)), true; };
    const Outcome outcome = run("motortest(100,200,300,400,30)");
    Lines expected = {"open /dev/servos 34"};
    for (int cycle = 0; cycle < 4; ++cycle)
        expected.insert(expected.end(), kSwing.begin(), kSwing.end());
    expected.push_back("close");
    EXPECT_EQ(outcome.calls, expected) << "8 s a cycle";
    EXPECT_THAT(outcome.log,
                ElementsAre("4 visca_control: Running for 0 out of 30 seconds",
                            "4 visca_control: Running for 24 out of 30 seconds",
                            "4 visca_control: ==== Motor test finished successfully. ===="));
}

TEST_F(MotorTest, WithoutTimeMovesNothing)
{
    for (const char* command : {"motortest(1,2,3,4,0)", "motortest(1,2,3,4,-2147483648)"}) {
        const Outcome outcome = run(command);
        EXPECT_THAT(outcome.calls, ElementsAre("open /dev/servos 34", "close")) << command;
        EXPECT_THAT(outcome.log,
                    ElementsAre("4 visca_control: ==== Motor test finished successfully. ===="));
    }
}

TEST_F(MotorTestDeathTest, FirstFailureEndsTheProcess)
{
    const struct
    {
        const char* message;
        std::function<void()> fault;
    } cases[] = {
        {"Timeout while waiting for pan motor",
         [] { fakeMotors.stops = [](int) { return false; }; }},
        {"Timeout while waiting for tilt motor",
         [] { fakeMotors.stops = [](int id) { return id == 1; }; }},
        {"Error reading ID from pan motor", [] { fakeMotors.realId = [](int) { return -1; }; }},
        {"Error reading ID from tilt motor",
         [] { fakeMotors.realId = [](int id) { return id == 1 ? 1 : 3; }; }},
        {"Failed to open the servo bus: /dev/servos: cause",
         [] { fakeMotors.openError = "/dev/servos: cause"; }},
    };
    for (const auto& c : cases) {
        fakeMotors = {};
        c.fault();
        // The second command of the list must not run.
        EXPECT_EXIT(HardwareDriver("/dev/servos")
                        .executeCommands("motortest(1,2,3,4,60);motortest(1,2,3,4,0)"),
                    testing::ExitedWithCode(1),
                    std::string("\\[2\\] visca_control: ") + c.message + " \\([^\n]*\n$")
            << c.message;
    }
}

TEST_F(PrecisionTest, WithoutTrialsCommandsTheCentreAndSummarisesNothing)
{
    const Outcome outcome = run("dxlprecisiontest(0)");
    EXPECT_THAT(outcome.calls, ElementsAre("open /dev/servos 34", "1 goal 2048", "2 goal 2048",
                                           "1 cw", "1 ccw", "2 cw", "2 ccw", "close"));
    EXPECT_EQ(outcome.out,
              "Average error m1: 0.000000 std: 0.000000\n"
              "Average error m2: 0.000000 std: 0.000000\n");
    EXPECT_THAT(outcome.log, ElementsAre("4 visca_control: m10 0", "4 visca_control: m20 0",
                                         "4 visca_control: m10 0", "4 visca_control: m20 0"));
}

/// The targets of the command, from the goals of the second stage.
std::vector<int> targetsIn(const Lines& calls, int margin)
{
    std::vector<int> targets;
    for (size_t i = 0; i + 4 < calls.size(); ++i)
        if (calls[i].rfind("1 goal ", 0) == 0 && calls[i + 4] == "1 position")
            targets.push_back(std::stoi(calls[i].substr(7)) - margin);
    return targets;
}

/// The same draws, straight from the text book.
std::vector<int> expectedTargets(int count, int cw, int ccw)
{
    ::srandom(1);
    std::vector<int> targets;
    for (int previous = 2048; count > 0; --count) {
        if (::random() % 2 == 1)
            previous = static_cast<int>(cw + 10 + ::random() % (ccw - cw - 20));
        else
            previous = std::min(
                std::max(static_cast<int>(previous + ::random() % 60 - 30), cw + 10), ccw - 10);
        targets.push_back(previous);
    }
    return targets;
}

TEST_F(PrecisionTest, ApproachesEachTargetInTwoStages)
{
    const std::vector<int> targets = expectedTargets(30, 1900, 2300);
    ::srandom(1);
    fakeMotors.cwLimit = {0, 1900};
    fakeMotors.ccwLimit = {4095, 2300};
    const Outcome outcome = run("dxlprecisiontest(30)");
    EXPECT_EQ(targetsIn(outcome.calls, 1), targets);
    EXPECT_EQ(support::takeSlept(), quill::milliseconds(500) * 30);

    // The first trial, call by call.
    const int margin = targets[0] >= 2048 ? 5 : -5;
    const auto goal = [&](int id, int offset) {
        return std::to_string(id) + " goal " + std::to_string(targets[0] + offset) + ", ";
    };
    const std::string firstTrial =
        "open /dev/servos 34, 1 goal 2048, 2 goal 2048, 1 cw, 1 ccw, 2 cw, 2 ccw, " +
        goal(1, margin) + goal(2, margin) + "1 wait 5000 ms, 2 wait 5000 ms, " + goal(1, 1) +
        goal(2, 1) + "1 wait 5000 ms, 2 wait 5000 ms, 1 position, 2 position, ";
    std::string calls;
    for (const auto& call : outcome.calls) calls += call + ", ";
    EXPECT_EQ(calls.substr(0, firstTrial.size()), firstTrial);
}

TEST_F(PrecisionTest, FilesErrorsByDirectionAndPrintsThem)
{
    // Short by 1 on the way up, by 3 on the way down: mean and deviation of known errors.
    int last = 2048;
    const std::vector<int> targets = expectedTargets(20, 0, 4095);
    ::srandom(1);
    std::string expected;
    quill::BasicStats all;
    for (const int target : targets) {
        const int step = target - last;
        const int error = step > 0 ? 1 : 3;
        for (const char* servo : {"1 ", "2 "})
            expected += servo + std::to_string(step) + " " + std::to_string(error) + "\n";
        all.add(error);
        last = target;
    }
    size_t reads = 0;
    fakeMotors.position = [&](int, int goal) {
        const size_t trial = reads++ / 2;
        const int before = trial == 0 ? 2048 : targets[trial - 1];
        return goal - 1 - (targets[trial] > before ? 1 : 3);
    };
    const Outcome outcome = run("dxlprecisiontest(20)");
    char average[100];
    for (const int servo : {1, 2}) {
        std::snprintf(average, sizeof average, "Average error m%d: %f std: %f\n", servo,
                      all.getMean(), all.getStdDev());
        expected += average;
    }
    EXPECT_EQ(outcome.out, expected);
    EXPECT_THAT(outcome.log, ElementsAre("4 visca_control: m13 0", "4 visca_control: m23 0",
                                         "4 visca_control: m11 0", "4 visca_control: m21 0"));
}

TEST_F(PrecisionTest, LeavesOutTargetsBeyondTheFirstServosLimits)
{
    fakeMotors.ccwLimit[0] = 0;
    const Outcome outcome = run("dxlprecisiontest(5)");
    EXPECT_THAT(outcome.out, testing::Not(testing::ContainsRegex("(^|\n)1 ")));
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 5 + 2);
}

TEST_F(PrecisionTest, Margin2FromAThousandOnSwitchesTheSecondStageOff)
{
    for (const auto& [margin2, waits] : {std::pair("999", 8), std::pair("1000", 4)}) {
        set("margin2", margin2);
        const Lines calls = run("dxlprecisiontest(2)").calls;
        EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                                [](const std::string& call) {
                                    return call.find("wait") != std::string::npos;
                                }),
                  waits)
            << margin2;
    }
    set("margin2", "-2147483648");
    fakeMotors.position = [](int, int) { return 2048; };  // such a goal is refused
    EXPECT_THAT(run("dxlprecisiontest(1)").calls, testing::Contains(HasSubstr("goal -21474")))
        << "does not wrap into a goal that a servo would take";
}

TEST_F(PrecisionTest, TracesTheFirstStageAtLevelFiveOnly)
{
    const int target = expectedTargets(1, 0, 4095)[0];
    ::srandom(1);
    EXPECT_EQ(run("dxlprecisiontest(1)").calls[11], "1 goal " + std::to_string(target + 1));
    ::srandom(1);
    quill::setLogLevel(5);
    const Outcome outcome = run("dxlprecisiontest(1)");
    const std::string goal = std::to_string(target + (target >= 2048 ? 5 : -5));
    EXPECT_EQ(outcome.log[0],
              "5 visca_control: " + goal + " " + goal + " goal " + std::to_string(target));
    EXPECT_EQ(outcome.calls[11], "2 position");
    EXPECT_EQ(outcome.calls[12], "1 position");
}

TEST_F(PrecisionTest, EndsWithoutATrialWhenNoTargetCanBeDrawn)
{
    for (const auto& [cw, ccw] :
         {std::pair(100, 120), std::pair(4095, 0), std::pair(-1, 4095), std::pair(0, -1)}) {
        fakeMotors.cwLimit[1] = cw;
        fakeMotors.ccwLimit[1] = ccw;
        const Outcome outcome = run("dxlprecisiontest(3)");
        EXPECT_THAT(outcome.calls, ElementsAre("open /dev/servos 34", "1 goal 2048", "2 goal 2048",
                                               "1 cw", "1 ccw", "2 cw", "2 ccw", "close"));
        EXPECT_THAT(
            outcome.log,
            ElementsAre(
                "2 visca_control: No precision test: the limits of servo ID 2 (tilt) are CW " +
                std::to_string(cw) + " and CCW " + std::to_string(ccw) +
                " (-1: no answer), they must be more than 20 apart."));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(PrecisionTest, EndsAtOnceWhenTheBusIsLost)
{
    fakeMotors.isLineLost = [] { return fakeMotors.calls.size() > 30; };
    const Outcome outcome = run("dxlprecisiontest(100)");
    EXPECT_THAT(outcome.log, ElementsAre("2 visca_control: Lost the servo bus at /dev/servos: the "
                                         "precision test ends after 2 of 100 trials."));
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("Average")));
}

TEST(BasicStats, DividesByTheCount)
{
    const struct
    {
        std::vector<double> samples;
        double mean, deviation;
    } cases[] = {
        {{}, 0, 0}, {{2, 2, 2}, 2, 0}, {{1, 3}, 2, 1}, {{-1, 1}, 0, 1}, {{0.1, 0.1, 0.1}, 0.1, 0},
    };
    for (const auto& c : cases) {
        quill::BasicStats stats;
        for (const double sample : c.samples) stats.add(sample);
        EXPECT_DOUBLE_EQ(stats.getMean(), c.mean);
        EXPECT_NEAR(stats.getStdDev(), c.deviation, 1e-8);
    }
}

}  // namespace

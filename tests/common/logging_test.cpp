#include "common/logging.h"

#include <gmock/gmock.h>

#include "support/log_capture.h"

namespace quill
{
namespace
{

using testing::ElementsAre;
using testing::MatchesRegex;

class Logging : public testing::Test
{
  protected:
    ~Logging() override
    {
        setLogLevel(kDefaultLogLevel);
        setLogBreakLevel(kNoBreakLevel);
        setAssertionHandler(nullptr);
    }
};

TEST_F(Logging, WritesOneLineARecord)
{
    support::LogCapture capture;
    QUILL_LOG(2, "visca") << "value " << 7 << ' ' << 1.5;
    QUILL_LOGF(4, "visca_control", "pan=%d tilt=%s\n", -5, "low");
    QUILL_LOGF(4, "visca_control", "%s", "two\nlines {} %d");
    const std::string text = capture.text();
    EXPECT_THAT(
        text, MatchesRegex("[0-9-]{10} [0-9:.]{12} \\[2\\] visca: value 7 1\\.5 "
                           "\\(tests/common/logging_test\\.cpp:[0-9]+\\)\n"
                           "[^\n]* \\[4\\] visca_control: pan=-5 tilt=low \\([^\n]*\\)\n"
                           "[^\n]* \\[4\\] visca_control: two\\\\nlines \\{\\} %d \\([^\n]*\\)\n"));
}

TEST_F(Logging, ShowsOnlyWhatTheLevelAllowsAndEvaluatesNothingElse)
{
    int evaluated = 0;
    const auto value = [&] { return ++evaluated; };
    const auto logAll = [&] {
        support::LogCapture capture;
        for (int level = 1; level <= 6; ++level) QUILL_LOG(level, "c") << level << value();
        for (int level = 1; level <= 6; ++level) QUILL_LOGF(level, "c", "%d", value());
        return capture.records().size();
    };
    EXPECT_EQ(logAll(), 8u) << "up to 4 unless set";
    EXPECT_EQ(std::exchange(evaluated, 0), 8);
    setLogLevel(1);
    EXPECT_EQ(logAll(), 2u);
    EXPECT_EQ(evaluated, 2);
}

TEST_F(Logging, StopsAfterATerminatingRecord)
{
    std::string message;
    setAssertionHandler([&](const char*, int, const char*, const char* said) {
        message += said;
        return false;
    });
    setLogBreakLevel(2);
    support::LogCapture capture;
    QUILL_LOGF(3, "c", "goes on");
    EXPECT_EQ(message, "");
    QUILL_LOGF(2, "c", "the last one");
    EXPECT_EQ(message, "Assertion failed: Reached terminating log level. Terminating\n");
    EXPECT_THAT(capture.records(), ElementsAre("3 c: goes on", "2 c: the last one"));
}

TEST_F(Logging, AsksTheFilterWithTheStatementItComesFrom)
{
    struct OncePerStatement : LoggingFilter
    {
        bool accepts(const LogRecord& record) const override
        {
            return seen.insert(record.statement).second;
        }
        mutable std::set<int> seen;
    } filter;
    support::LogCapture capture;
    int a = -1;
    int b = -1;
    for (int i = 0; i < 3; ++i) {
        logToLogger(&filter, 2, "c", "f.cpp", "f()", 1, &a, "a%d", i);
        LoggingStream(&filter, 2, "c", "f.cpp", "f()", 2, &b) << "b" << i;
    }
    EXPECT_THAT(capture.records(), ElementsAre("2 c: a0", "2 c: b0"));
}

TEST_F(Logging, FailedAssertionNamesItsPlaceAndStops)
{
    EXPECT_EXIT(
        QUILL_ASSERT(1 + 1 == 3), testing::KilledBySignal(SIGTRAP),
        "^tests/common/logging_test.cpp:[0-9]+: .*FailedAssertion.*: Assertion failed: 1 \\+ "
        "1 == 3\n$");
}

}  // namespace
}  // namespace quill

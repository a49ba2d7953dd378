#include <gmock/gmock.h>

#include <csignal>

#include "common/time.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"
#include "tools/rigsim/testbed.h"

namespace
{

using namespace rigsim;
using testing::HasSubstr;

std::vector<std::string> identify(const Testbed& testbed, const std::string& option = "-v")
{
    std::vector<std::string> words = testbed.environment();
    words.insert(words.begin(), {"/usr/bin/env", "-i"});
    words.insert(words.end(), {RIGSETUP, "identify", option});
    return words;
}

struct Case
{
    Faults faults;
    std::vector<std::string> lines;
};

TEST(Identify, TellsWhatIsWhereWithinFiveSeconds)
{
    const Case cases[] = {
        {{"camera.at-38400", "servos.echo"},
         {"/dev/ttyUSB0  VISCA camera at 38400 bit/s: vendor 0000, model 0000, ROM 0100, on\n",
          "/dev/ttyUSB1  servos at baud number 34: ID 1 (model 29), ID 2 (model 29); at baud "
          "number "
          "16: ID 7 (model 29)\n",
          "/dev/ttyUSB2  no answer (a laser relay gives none)\n\n"
          "rigtool -t 'commands=test(/dev/ttyUSB0,/dev/ttyUSB1,/dev/ttyUSB2)'\n"}},
        {{"camera.silent", "servos.lost=2"},
         {"/dev/ttyUSB0  no answer (a laser relay gives none)\n", "34: ID 1 (model 29); at",
          "here: 0 camera, 2 port without an answer, the laser's.\n"}},
        {{"servos.lost=1"}, {"needs servos with the IDs 1 and 2 at baud number 34.\n"}},
    };
    for (const auto& c : cases) {
        Rig rig({c.faults});
        const Testbed testbed(rig);
        const auto start = quill::Time::now();
        const auto ended = support::run(identify(testbed));
        EXPECT_LT(quill::Time::now() - start, quill::milliseconds(5500));
        EXPECT_EQ(ended.status, 0) << ended.err;
        for (const auto& line : c.lines) EXPECT_THAT(ended.out, HasSubstr(line)) << ended.err;
        EXPECT_EQ(rig.cameraState().moves, 0);
    }
}

TEST(Identify, AsksNobodyInADryRunAndEndsWithAllItsProcesses)
{
    Rig rig;
    const Testbed testbed(rig);
    EXPECT_EQ(support::run(identify(testbed, "--dry-run")).out,
              "/dev/ttyUSB0  would be asked\n/dev/ttyUSB1  would be asked\n"
              "/dev/ttyUSB2  would be asked\n");
    EXPECT_EQ(rig.cameraState().packets, 0);
    support::Process run(identify(testbed));
    ASSERT_TRUE(run.waitForError("/dev/ttyUSB1 -> ff ff fe 02 01 fe"));
    run.signal(SIGTERM);
    EXPECT_EQ(run.wait().status, 128 + SIGTERM);
    EXPECT_THAT(support::run(identify(testbed)).out, HasSubstr("servos at baud number 34"))
        << "no line is held any more";
}

}  // namespace

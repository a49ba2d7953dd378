#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "support/folder.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"
#include "tools/rigsim/testbed.h"

namespace
{

using namespace rigsim;
using testing::EndsWith;
using testing::HasSubstr;

support::Ended names(const Testbed& testbed, const std::vector<std::string>& options)
{
    std::vector<std::string> words = testbed.environment();
    words.insert(words.begin(), {"/usr/bin/env", "-i"});
    words.insert(words.end(), {RIGSETUP, "names"});
    words.insert(words.end(), options.begin(), options.end());
    return support::run(words);
}

std::string rule(const char* serial, const char* name)
{
    return std::string(
               "SUBSYSTEM==\"tty\", ATTRS{idVendor}==\"0403\", ATTRS{idProduct}==\"6001\", "
               "ATTRS{serial}==\"") +
           serial + "\", SYMLINK+=\"rig-" + name + "\"\n";
}

TEST(NameAdapters, BySerialNumberAndPutsTheRuleWhereItIsWanted)
{
    Rig rig;
    const Testbed testbed(rig);
    const support::Folder folder;
    const std::string rules =
        rule("RIG00004", "camera") + rule("RIG00005", "servos") + rule("RIG00006", "laser");
    EXPECT_THAT(names(testbed, {}).out, EndsWith("\n" + rules));
    EXPECT_EQ(rig.cameraState().moves, 0);
    const int packets = rig.cameraState().packets;

    const std::vector<std::string> given = {"--camera",     "/dev/ttyUSB2", "--servos",
                                            "/dev/ttyUSB1", "--laser",      "/dev/ttyUSB0",
                                            "--install",    "--folder",     folder.path()};
    auto options = given;
    options.emplace_back("--dry-run");
    EXPECT_EQ(names(testbed, options).status, 0);
    EXPECT_EQ(names(testbed, given).status, 1) << "nobody can be asked";
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    options.back() = "--yes";
    EXPECT_EQ(names(testbed, options).status, 0);
    std::ifstream in(folder / "70-rig-names.rules");
    EXPECT_THAT(std::string((std::istreambuf_iterator<char>(in)), {}),
                EndsWith("\n" + rule("RIG00006", "camera") + rule("RIG00005", "servos") +
                         rule("RIG00004", "laser")));
    EXPECT_EQ(rig.cameraState().packets, packets) << "all were named: nobody is asked";
}

TEST(NameAdapters, SaysWhatCannotBeToldApart)
{
    Rig rig({{"cbus.no-serial", "camera.silent"}});
    const Testbed testbed(rig);
    const auto ended = names(testbed, {});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, HasSubstr("0 ports look like the camera (name the one with --camera"));
    EXPECT_THAT(ended.err, HasSubstr("/dev/ttyUSB1 and /dev/ttyUSB0 cannot be told apart: both "
                                     "have no serial number"));
    EXPECT_THAT(ended.err, HasSubstr("2 ports look like the laser"));
}

}  // namespace

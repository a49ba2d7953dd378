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

constexpr const char* kAdapter = "servos";

class SetUpCbus : public testing::Test
{
  protected:
    void plugIn(const Faults& faults)
    {
        m_testbed.reset();
        m_rig = std::make_unique<Rig>(RigOptions{faults});
        m_testbed = std::make_unique<Testbed>(*m_rig);
    }

    support::Ended cbus(const std::vector<std::string>& options)
    {
        std::vector<std::string> words = m_testbed->environment();
        words.insert(words.begin(), {"/usr/bin/env", "-i", "HOME=" + m_folder.path().string()});
        words.insert(words.end(), {RIGSETUP, "cbus", "--device", "/dev/ttyUSB1"});
        words.insert(words.end(), options.begin(), options.end());
        return support::run(words);
    }

    AdapterState chip() const { return m_rig->adapterState(kAdapter); }
    std::string file(const std::string& name) const { return m_folder / name; }

    support::Folder m_folder;
    std::unique_ptr<Rig> m_rig;
    std::unique_ptr<Testbed> m_testbed;
};

TEST_F(SetUpCbus, ChangesTwoWordsAndRestoresThem)
{
    plugIn({"cbus.not-io=3"});
    EXPECT_THAT(cbus({}).out, EndsWith("serial number RIG00005\n  CBUS0  IOMODE\n  CBUS1  IOMODE\n"
                                       "  CBUS2  IOMODE\n  CBUS3  PWREN\n"));
    EXPECT_THAT(cbus({"--io", "3", "--dry-run"}).out,
                HasSubstr("\n  word 0a: 1aaa becomes aaaa\n  word 3f, the checksum: "));
    EXPECT_EQ(cbus({"--io", "3"}).status, 1) << "nobody can be asked";
    EXPECT_EQ(chip().eepromWrites, 0);

    const auto ended = cbus({"--io", "1,3", "--yes", "--backup", file("before")});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_THAT(ended.out, EndsWith("Written and read back. It takes effect when the adapter is "
                                    "plugged in anew.\n"));
    EXPECT_EQ(chip().eepromWrites, 2);
    EXPECT_EQ(chip().latencyMs, 16) << "as before";
    EXPECT_EQ(chip().pins[3].function, 1) << "until the next plug-in";
    EXPECT_EQ(chip().claims + chip().driverDetaches + chip().resets, 0);
    EXPECT_THAT(cbus({"--io", "3", "--yes"}).out, EndsWith("Nothing to change.\n"));

    EXPECT_EQ(cbus({"--io", "2", "--restore", file("before")}).status, 2);
    EXPECT_EQ(cbus({"--restore", file("before"), "--yes"}).status, 0) << "a backup of its own name";
    EXPECT_EQ(chip().eepromWrites, 4);
    EXPECT_THAT(cbus({}).out, EndsWith("  CBUS3  PWREN\n"));
    EXPECT_NE(cbus({"--io", "3", "--yes", "--backup", file("before")}).status, 0)
        << "never overwritten";
    EXPECT_EQ(chip().eepromWrites, 4);
}

TEST_F(SetUpCbus, SaysWhatAFailedWriteHasLeft)
{
    const struct
    {
        const char* fault;
        const char* text;
    } cases[] = {
        {"cbus.ignore-write",
         "the chip says that it wrote, and is unchanged (a counterfeit chip "
         "does so: use another adapter)"},
        {"cbus.cut-write",
         "the content may be half new: plug the adapter in again and restore the "
         "backup before it is used"},
    };
    for (const auto& c : cases) {
        plugIn({"cbus.not-io=1", c.fault});
        const auto ended = cbus({"--io", "1", "--yes", "--backup", file(c.fault)});
        EXPECT_EQ(ended.status, 1);
        EXPECT_THAT(ended.err, HasSubstr(c.text));
        EXPECT_THAT(ended.err, EndsWith("rigsetup cbus --device /dev/ttyUSB1 --restore " +
                                        file(c.fault) + "\n"));
        plugIn({});
        EXPECT_EQ(cbus({"--restore", file(c.fault), "--dry-run"}).status, 0);
    }
    plugIn({"cbus.other-chip"});
    EXPECT_THAT(cbus({"--io", "1", "--yes"}).err, HasSubstr("CBUS pins are not supported"));

    std::ifstream in(file("cbus.cut-write"));
    std::string text((std::istreambuf_iterator<char>(in)), {});
    text.replace(text.find("4000"), 4, "4001");
    std::ofstream(file("damaged")) << text;
    plugIn({});
    EXPECT_THAT(cbus({"--restore", file("damaged"), "--yes"}).err, HasSubstr("checksum is wrong"));
    EXPECT_EQ(chip().requests, 0);
}

}  // namespace

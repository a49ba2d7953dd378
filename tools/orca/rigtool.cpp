#include <gperftools/profiler.h>

#include <cstdio>
#include <memory>
#include <string>

#include "calibration/calibration_files.h"
#include "common/command_line.h"
#include "common/program_declaration.h"
#include "common/properties.h"
#include "common/startup.h"
#include "device_list.h"
#include "devices/serial/device_line.h"
#include "tools/orca/hardware_driver.h"

QUILL_DEFINE_PROPERTY(std::string, p_device, "device", "/dev/ttyUSB0");
QUILL_DEFINE_PROPERTY(int, p_dxl_baudnum, "dxlbaudnum", 34);
QUILL_DEFINE_PROPERTY(std::string, p_commands, "commands", "");
QUILL_DEFINE_PROPERTY(int, p_margin1pos, "margin1pos", 5);
QUILL_DEFINE_PROPERTY(int, p_margin1neg, "margin1neg", -5);
QUILL_DEFINE_PROPERTY(int, p_margin2, "margin2", 1);

/// Calls into the calibration-files library once, after the settings exist, so that every run loads
/// it with its own static initialisation.
struct CallEmbedDummy
{
    CallEmbedDummy() { embedded_calibration_files_dummy(); }
};
CallEmbedDummy g_call_embed_dummy_embedded_calibration_files;

/// Never called: its reference keeps the CPU profiler a load-time dependency, so that a run can be
/// profiled with the environment variable CPUPROFILE alone.
__attribute__((visibility("default"))) void bogus();
void bogus()
{
    ProfilerStart("");
}

namespace
{

/// A minute: beyond that a network is broken, not slow.
constexpr int kLongestLineDelayMs = 60000;

const quill::ProgramDescription s_description(
    "Service and test tool for the hardware of a pan-tilt-zoom camera rig.",
    {"rigtool -t 'commands=pantiltzoom(100,-20,3);getpantiltzoom'",
     "rigtool -t device=/dev/ttyUSB1 -t 'commands=dxlgetword(1,36)'",
     "rigtool -v -t 'commands=resetptz;getpantiltzoom'"},
    "rigtool --list-commands lists all commands, man rigtool tells what each does.");

const quill::ProgramOption s_dryRun(
    "--dry-run", "Print what the commands would do, open nothing and move nothing");
const quill::ProgramOption s_lineDelay(
    "--line-delay", "MS", kLongestLineDelayMs,
    "What a round trip to the devices takes longer than on a local line, in ms:\n"
    "added to every time-out, for a rig on another computer (default 0)");
const quill::ProgramOption s_listCommands("--list-commands",
                                          "List all commands with their arguments and exit");
const quill::ProgramOption s_listDevices("--list-devices",
                                         "List the serial devices of this computer and exit");

void commandHelp()
{
    static const char text[] =
        "\nValid commands:\n"
        "* pantiltzoom(pan,tilt,zoom) : Controls a VISCA PTZ camera and send it a pan, tilt, zoom "
        "target.\n"
        "* pantiltzoom(pan,tilt) : Controls a VISCA PTZ camera and send it a pan, tilt target.\n"
        "* getpantiltzoom : Return the position of a VISCA PTZ camera\n"
        "* resetptz : rehome the PTZ camera\n"
        "* dynamixel(pan,tilt) : Controls two dynamixel motors. Send pan position to the motor "
        "with "
        "ID 1, send tilt position to motor with ID 2\n"
        "* dxldump(maxbaud, maxid) : Scan for DXLdevices in the range 1-maxbaud, 1-maxid  and dump "
        "the motor parameters when found.\n"
        "* dxlsetpos(id,pos) : Set the position of the DXL motor of given id.\n"
        "* dxlsetbyte(id,addr,value) : Set a byte register value to a dynamixel motor.\n"
        "* dxlsetword(id,addr,value) : Set a word register value to a dynamixel motor.\n"
        "* dxlgetbyte(id,addr) : Get a byte register value from a dynamixel motor.\n"
        "* dxlgetword(id,addr) : Get a word register value from a dynamixel motor.\n"
        "* cbus(pin,state) : set the cbus pin to the given state. Use multiple cbus commands "
        "(separated by ;) to set multiple pins.\n"
        "* usbsyspath : display the usb system path of the given device\n"
        "* kinect : capture Kinect IR and RGB images\n"
        "* test(ptz_tty, motors_tty, laser_tty) : test the PTZ hardware\n"
        "* motortest(x0,x1,y0,y1,duration_s) : test the motors\n"
        "\nNotes:\n"
        "* All commands use the device specified using -t device=...\n"
        "* Multiple commands can be sent at once, the separator is ;\n"
        "  For example:  -t 'commands=cbus(1,1);cbus(3,1)' to set both cbus pins 1 and 3 to 1.\n"
        "* For dynamixel, the baudnum can be set using -t dxlbaudnum=...\n\n";
    std::fputs(text, stderr);
}

int listCommands()
{
    for (const std::string& form : HardwareDriver::commandForms()) std::puts(form.c_str());
    return 0;
}

int run()
{
    if (s_listCommands.isGiven()) return listCommands();
    if (s_listDevices.isGiven()) return listDevices();
    if (p_commands().empty()) {
        commandHelp();
        return 0;
    }
    HardwareDriver driver(p_device());
    return s_dryRun.isGiven() ? driver.printCommands(p_commands())
                              : driver.executeCommands(p_commands());
}

}  // namespace

int main(int argc, char** argv)
{
    quill::initCommandLine(&argc, &argv, true);
    std::shared_ptr<void> guard = quill::g_common_init->init();

    quill::DeviceLine::setDefaultDelay(quill::milliseconds(s_lineDelay.number()));
    const int status = run();
    guard.reset();
    return status;
}

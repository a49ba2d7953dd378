#include <benchmark/benchmark.h>

#include "figures.h"

namespace
{

/// Address set, interface clear and their answers (4 + 4 + 5 + 5 bytes), two inquiries (5 + 11 and
/// 5 + 7), each byte 10 bits at 9600 bit/s.
constexpr double kPositionBytesNs = (4 + 4 + 5 + 5 + 5 + 11 + 5 + 7) * 10 / 9600.0 * 1e9;

/// Request (8 bytes) and answer (7, for a word 8) of a servo read.
constexpr double readBytesNs(double bitRate, int answerBytes = 7)
{
    return (8 + answerBytes) * 10 / bitRate * 1e9;
}

/// The fixed 34 ms and the bytes' time that the usual library spends on a servo that is not there.
constexpr double kUsualSilenceNs = 34e6;

constexpr double kSixReadsNs = 2 * readBytesNs(57143, 8) + 4 * readBytesNs(57143);
/// Factory setting of a servo's return delay.
constexpr double kReturnDelayNs = 500e3;

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    FigureReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable({
        {"start of rigtool to help text", "startToHelpText", "an empty program",
         "startEmptyProgram", 0, "at most 3 ms above"},
        {"read of an int setting", "readInt", "lock and copy", "lockAndCopyInt", 0,
         "at most 50 ns"},
        {"read of a short string setting", "readString", "lock and copy", "lockAndCopyString", 0,
         "at most 80 ns"},
        {"1,000 commands parsed", "parseThousandCommands", "the target", nullptr, 100e6,
         "at most 100 ms"},
        {"getpantiltzoom", "getPanTiltZoom", "its bytes at 9600 bit/s", nullptr, kPositionBytesNs,
         "at most 1.1"},
        {"getpantiltzoom, the whole run", "toolOnCamera", "a pyserial script", "scriptOnCamera", 0,
         ""},
        {"silent servo ID at 57143 bit/s", "silentReadAt57143", "the usual 34 ms and bytes",
         nullptr, kUsualSilenceNs + readBytesNs(57143), ""},
        {"silent servo ID at 1 Mbit/s", "silentReadAt1M", "the usual 34 ms and bytes", nullptr,
         kUsualSilenceNs + readBytesNs(1e6), "under 6 ms"},
        {"servo read, 1 Mbit/s, delay 0", "answeredReadDelay0", "its bytes", nullptr,
         readBytesNs(1e6), ""},
        {"", "answeredReadDelay0", "a pyserial script", "scriptReadDelay0", 0, ""},
        {"servo read, 1 Mbit/s, delay 500 us", "answeredReadDelay500", "its bytes and the delay",
         nullptr, readBytesNs(1e6) + kReturnDelayNs, ""},
        {"six servo reads at 57143 bit/s", "sixReads", "their bytes and delays", nullptr,
         kSixReadsNs + 6 * kReturnDelayNs, ""},
        {"CPU of a wait on a silent line", "waitOnASilentLine/cpu", "the wait", "waitOnASilentLine",
         0, "under 0.01"},
        {"CPU of a wait for a stuck servo", "waitForAStuckServo/cpu", "the wait",
         "waitForAStuckServo", 0, ""},
        {"colour frame to image, 1920 x 1080", "convertColour", "memcpy of the frame",
         "copyColourFrame", 0, "at most 2"},
        {"", "convertColour", "cv::flip of the frame", "flipColourFrame", 0, ""},
        {"infrared frame to image, 512 x 424", "convertInfrared", "the target", nullptr, 1e6,
         "under 1 ms"},
    });
    return reporter.hasFailed() ? 1 : 0;
}

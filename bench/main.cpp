#include <benchmark/benchmark.h>

#include "figures.h"

namespace
{

/// Address set, interface clear and their answers (4 + 4 + 5 + 5 bytes), two inquiries (5 + 11 and
/// 5 + 7), each byte 10 bits at 9600 bit/s.
constexpr double kPositionBytesNs = (4 + 4 + 5 + 5 + 5 + 11 + 5 + 7) * 10 / 9600.0 * 1e9;

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
         ""},
    });
    return 0;
}

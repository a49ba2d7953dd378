// serial_probe PATH BITRATE [HEX]...: opens a line at a bit rate for itself alone, says each packet
// and prints what the other end answers. Stands for any program that is given a simulated rig.

#include <cstdio>
#include <cstdlib>

#include "tests/rigsim/serial_client.h"

int main(int argc, char** argv)
{
    if (argc < 3) return 2;
    const SerialClient line(argv[1], static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
    for (int i = 3; i < argc; ++i) {
        line.say(argv[i]);
        std::puts(line.hear().c_str());
    }
    return 0;
}

#include <cstdio>
#include <cstdlib>

#include "common/logging.h"
#include "common/text.h"
#include "support/recording_driver.h"
#include "tools/orca/hardware_driver.h"

/// A command list: either every piece is one call, or the list is refused and nothing is called.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    quill::setLogLevel(1);
    const std::string list(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> pieces;
    quill::SplitString(list, ";", &pieces, quill::kSplitDefault);

    HardwareDriver driver("/dev/null");
    const int status = driver.executeCommands(list);
    const size_t calls = support::takeDriverCalls().size();
    const bool ran = status == 0 && calls == pieces.size();
    const bool refused = status == 1 && calls == 0;
    if (!ran && !refused) std::abort();
    return 0;
}

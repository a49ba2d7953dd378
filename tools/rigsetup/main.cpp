#include <cstdio>
#include <memory>

#include "common/interrupt.h"
#include "common/logging.h"
#include "common/standard_streams.h"
#include "common/startup.h"
#include "tools/rigsetup/camera.h"
#include "tools/rigsetup/consent.h"
#include "tools/rigsetup/options.h"

namespace
{

using namespace rigsetup;

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

int run(const CameraOptions& options, const Asker& asker)
{
    return setUpCamera(options, asker);
}

}  // namespace

int main(int argc, char** argv)
{
    quill::guardStandardStreams();
    const auto parsed = parseOptions({argv + 1, argv + argc});
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        std::fputs(error->text.c_str(), stderr);
        return kWrongUsage;
    }
    if (const auto* information = std::get_if<InformationText>(&parsed)) {
        std::fputs(information->text.c_str(), stdout);
        std::fflush(stdout);
        return quill::isEndOrdered() ? kFailed : 0;
    }
    const auto& options = std::get<Options>(parsed);
    quill::setLogLevel(options.logLevel);
    std::shared_ptr<void> guard = quill::g_common_init->init();
    const Asker asker(options.isDryRun, options.isAgreed);
    const int status = std::visit([&](const auto& subcommand) { return run(subcommand, asker); },
                                  options.subcommand);
    guard.reset();
    return status;
}

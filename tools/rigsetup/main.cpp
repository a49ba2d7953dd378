#include <cstdio>
#include <memory>

#include "common/interrupt.h"
#include "common/logging.h"
#include "common/standard_streams.h"
#include "common/startup.h"
#include "tools/rigsetup/camera.h"
#include "tools/rigsetup/cbus.h"
#include "tools/rigsetup/consent.h"
#include "tools/rigsetup/identify.h"
#include "tools/rigsetup/names.h"
#include "tools/rigsetup/options.h"

namespace
{

using namespace rigsetup;

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

class Runner
{
  public:
    explicit Runner(const Options& options)
        : m_isDryRun(options.isDryRun), m_asker(options.isDryRun, options.isAgreed)
    {}

    int operator()(const IdentifyOptions& options) const { return identify(options, m_isDryRun); }
    int operator()(const NamesOptions& options) const { return nameAdapters(options, m_asker); }
    int operator()(const CbusOptions& options) const { return setUpCbus(options, m_asker); }
    int operator()(const CameraOptions& options) const { return setUpCamera(options, m_asker); }

  private:
    bool m_isDryRun;
    Asker m_asker;
};

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
    const int status = std::visit(Runner(options), options.subcommand);
    guard.reset();
    return status;
}

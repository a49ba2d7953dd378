#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <system_error>

#include "tools/rigsim/command.h"
#include "tools/rigsim/options.h"
#include "tools/rigsim/output_file.h"
#include "tools/rigsim/served_links.h"
#include "tools/rigsim/signals.h"
#include "tools/rigsim/testbed.h"

namespace
{

using namespace rigsim;

constexpr int kWrongUsage = 2;
constexpr int kRigFailed = 125;  // as of env(1) and timeout(1): their own trouble, not COMMAND's

void print(const std::string& text)
{
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw std::system_error(errno, std::generic_category(), "standard output");
}

int serve(const Rig& rig, const std::string& folder, const Signals& signals)
{
    const ServedLinks links(rig, folder);
    std::string list;
    for (const auto& path : links.paths())
        list += fmt::format("{} {}\n", path.filename().string(), path.string());
    print(list);
    signals.wait();
    return 0;
}

int runInTestbed(Rig& rig, const std::vector<std::string>& command, const Signals& signals)
{
    const Testbed testbed(rig);
    return runCommand(command, testbed.environment(), signals);
}

int run(const Options& options)
{
    const Signals signals(!options.serveFolder.empty());
    // Opened before anything runs: a path that cannot be written is told at once.
    std::optional<OutputFile> stateFile;
    if (!options.stateFile.empty()) stateFile.emplace(options.stateFile);
    Rig rig(options.rig);
    const int status = options.serveFolder.empty() ? runInTestbed(rig, options.command, signals)
                                                   : serve(rig, options.serveFolder, signals);
    if (!stateFile) return status;
    rig.settle();
    stateFile->write(rig.stateJson());
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    const auto parsed = parseOptions({argv + 1, argv + argc});
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        std::fputs(error->text.c_str(), stderr);
        return kWrongUsage;
    }
    try {
        if (const auto* options = std::get_if<Options>(&parsed)) return run(*options);
        print(std::get<HelpText>(parsed).text);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "rigsim: {}\n", error.what());
        return kRigFailed;
    }
}

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "tools/rigsim/command.h"
#include "tools/rigsim/options.h"
#include "tools/rigsim/served_links.h"
#include "tools/rigsim/signals.h"
#include "tools/rigsim/testbed.h"

namespace
{

using namespace rigsim;

constexpr const char* kStandardOutput = "standard output";

constexpr int kWrongUsage = 2;
constexpr int kRigFailed = 125;  // as of env(1) and timeout(1): their own trouble, not COMMAND's

struct CloseFile
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::system_error fileError(const std::string& path)
{
    return {errno, std::generic_category(), path};
}

// Opened before anything runs: a path that cannot be written is told at once.
File openForWriting(const std::string& path)
{
    if (path.empty()) return nullptr;
    File file(std::fopen(path.c_str(), "we"));
    if (!file) throw fileError(path);
    return file;
}

void write(std::FILE* file, const std::string& text, const std::string& path)
{
    if (std::fputs(text.c_str(), file) < 0 || std::fflush(file) != 0) throw fileError(path);
}

int serve(const Rig& rig, const std::string& folder, const Signals& signals)
{
    const ServedLinks links(rig, folder);
    std::string list;
    for (const auto& path : links.paths())
        list += fmt::format("{} {}\n", path.filename().string(), path.string());
    write(stdout, list, kStandardOutput);
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
    const File stateFile = openForWriting(options.stateFile);
    Rig rig(options.rig);
    const int status = options.serveFolder.empty() ? runInTestbed(rig, options.command, signals)
                                                   : serve(rig, options.serveFolder, signals);
    if (!stateFile) return status;
    rig.settle();
    write(stateFile.get(), rig.stateJson(), options.stateFile);
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
        write(stdout, std::get<HelpText>(parsed).text, kStandardOutput);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "rigsim: {}\n", error.what());
        return kRigFailed;
    }
}

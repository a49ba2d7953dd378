#include "tools/rigsim/temporary_folder.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace rigsim
{
namespace
{

namespace fs = std::filesystem;

// The 108 bytes of a socket's name hold "/umockdev.XXXXXX/ioctl/dev/bus/usb/BBB/DDD" behind TMPDIR.
constexpr size_t kLongestRoot = 60;

std::runtime_error unusable(const fs::path& folder, const std::string& why)
{
    return std::runtime_error(
        fmt::format("temporary folder {}: {} (set TMPDIR)", folder.string(), why));
}

}  // namespace

fs::path temporaryRoot()
{
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (!error && access(folder.c_str(), W_OK | X_OK) < 0) error = {errno, std::generic_category()};
    if (error) throw unusable(folder, error.message());
    if (folder.native().size() > kLongestRoot) throw unusable(folder, "name is too long");
    return folder;
}

TemporaryFolder::TemporaryFolder()
{
    std::string name = temporaryRoot() / "rigsim.XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw unusable(name, std::generic_category().message(errno));
    m_path = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;  // nothing is left to be done about it
    fs::remove_all(m_path, ignored);
}

}  // namespace rigsim

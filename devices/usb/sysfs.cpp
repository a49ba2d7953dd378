#include "devices/usb/sysfs.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <fstream>

namespace quill::sysfs
{

namespace fs = std::filesystem;

fs::path folderOfNode(const std::string& node, const fs::path& root)
{
    struct stat file = {};
    if (::stat(node.c_str(), &file) != 0) return {};
    if (!S_ISCHR(file.st_mode) && !S_ISBLK(file.st_mode)) return {};
    const std::string number =
        std::to_string(major(file.st_rdev)) + ":" + std::to_string(minor(file.st_rdev));
    std::error_code none;
    return fs::canonical(root / "dev" / (S_ISCHR(file.st_mode) ? "char" : "block") / number, none);
}

fs::path deviceOfTty(const std::string& tty, const fs::path& root)
{
    const fs::path folder = folderOfNode(tty, root);
    std::error_code none;
    const bool isTty = fs::read_symlink(folder / "subsystem", none).filename() == "tty";
    return isTty ? folder.parent_path().parent_path() : fs::path();  // DEVICE/tty/NAME
}

std::string readLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::optional<int> readNumber(const fs::path& file, int base)
{
    const std::string text = readLine(file);
    int value = -1;
    std::from_chars(text.data(), text.data() + text.size(), value, base);
    return value >= 0 && value <= 0xFFFF ? std::make_optional(value) : std::nullopt;
}

std::string readProperty(const fs::path& folder, const std::string& key)
{
    if (folder.empty()) return {};
    std::ifstream file(folder / "uevent");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1);
    return {};
}

}  // namespace quill::sysfs

#pragma once

#include <filesystem>
#include <optional>
#include <string>

/// Reading of the system's description of its devices, where each has a folder and each of its
/// properties a file (sysfs). What the system does not tell is empty.
namespace quill::sysfs
{

/// The folder of a device node.
/// @param node  device node or a link to it; everything else has none
/// @param root  where the system describes its devices: "/sys"
std::filesystem::path folderOfNode(const std::string& node, const std::filesystem::path& root);

/// The folder of the device behind a tty, which its driver is bound to. As folderOfNode();
/// everything that is no tty has none.
std::filesystem::path deviceOfTty(const std::string& tty, const std::filesystem::path& root);

/// The first line of a file.
std::string readLine(const std::filesystem::path& file);

/// The number at the beginning of a file; nothing when there is none from 0 to 65535.
std::optional<int> readNumber(const std::filesystem::path& file, int base = 10);

/// A line "KEY=value" of the file "uevent".
/// @param folder  may be empty
std::string readProperty(const std::filesystem::path& folder, const std::string& key);

}  // namespace quill::sysfs

#include "tools/rigsetup/eeprom_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace rigsetup
{
namespace
{

namespace fs = std::filesystem;
namespace ft232r = quill::ft232r;

constexpr size_t kWordsInLine = 8;

struct CloseFile
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void fail(const std::string& path, const std::string& cause)
{
    throw std::runtime_error(path + ": " + cause);
}

std::string valueOf(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

std::string defaultBackupPath(const std::string& serialNumber)
{
    const std::string data = valueOf("XDG_DATA_HOME"), home = valueOf("HOME");
    if (data.empty() && home.empty())
        throw std::runtime_error("no home folder for the backup (name it with --backup FILE)");
    const fs::path folder =
        (data.empty() ? fs::path(home) / ".local/share" : fs::path(data)) / "rigtool";
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) fail(folder, error.message());
    std::string name = serialNumber.empty() ? "without-serial-number" : serialNumber;
    for (char& character : name)
        if (character == '/') character = '_';
    char time[32] = "";
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", localtime_r(&now, &local));
    return folder / fmt::format("eeprom-{}-{}.txt", name, time);
}

void writeEepromFile(const std::string& path, const std::string& comment,
                     const ft232r::EepromWords& words)
{
    std::string text = "# " + comment + "\n";
    for (size_t i = 0; i < words.size(); ++i)
        text += fmt::format("{:04x}{}", words[i], (i + 1) % kWordsInLine == 0 ? "\n" : " ");
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "wxe"));
    if (!file) fail(path, std::strerror(errno));
    // On the disk before the chip is changed.
    if (std::fputs(text.c_str(), file.get()) < 0 || std::fflush(file.get()) != 0 ||
        ::fsync(::fileno(file.get())) != 0)
        fail(path, std::strerror(errno));
}

ft232r::EepromWords readEepromFile(const std::string& path)
{
    std::ifstream file(path);
    if (!file) fail(path, std::strerror(errno));
    ft232r::EepromWords words = {};
    size_t count = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind('#', 0) == 0) continue;
        std::istringstream in(line);
        for (std::string text; in >> text; ++count) {
            char* end = nullptr;
            const unsigned long value = std::strtoul(text.c_str(), &end, 16);
            if (text.size() != 4 || *end != '\0' || count >= words.size())
                fail(path, "this is no backup of an EEPROM");
            words[count] = static_cast<uint16_t>(value);
        }
    }
    if (count != words.size()) fail(path, "this is no backup of an EEPROM");
    if (words[ft232r::kChecksumWord] != ft232r::checksumOf(words))
        fail(path, "the checksum is wrong: the file is damaged");
    return words;
}

}  // namespace rigsetup

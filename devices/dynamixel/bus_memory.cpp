#include "bus_memory.h"

#include <sys/stat.h>

#include <map>
#include <mutex>

namespace quill::dynamixel
{
namespace
{

/// The same for all links to a device.
std::string nameOf(const std::string& path)
{
    struct stat file = {};
    if (::stat(path.c_str(), &file) != 0 || !S_ISCHR(file.st_mode)) return path;
    return std::to_string(file.st_rdev);
}

}  // namespace

std::shared_ptr<BusMemory> BusMemory::of(const std::string& device)
{
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<BusMemory>> byDevice;
    const std::string name = nameOf(device);
    const std::lock_guard lock(mutex);
    auto& memory = byDevice[name];
    if (!memory) memory = std::make_shared<BusMemory>();
    return memory;
}

void BusMemory::expectLate(int id, size_t parameters, Time until)
{
    if (id <= kLastServoId && parameters <= kWord)
        m_lateUntil[static_cast<size_t>(id)][parameters] = until;
}

Time BusMemory::lateUntil(int id, size_t parameters) const
{
    if (id > kLastServoId || parameters > kWord) return Time();
    return m_lateUntil[static_cast<size_t>(id)][parameters];
}

void BusMemory::setAlone(int id, bool alone)
{
    if (id <= kLastServoId) m_alone[static_cast<size_t>(id)] = alone;
}

}  // namespace quill::dynamixel

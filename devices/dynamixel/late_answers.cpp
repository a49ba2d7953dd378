#include "late_answers.h"

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

std::shared_ptr<LateAnswers> LateAnswers::of(const std::string& device)
{
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<LateAnswers>> byDevice;
    const std::string name = nameOf(device);
    const std::lock_guard lock(mutex);
    auto& late = byDevice[name];
    if (!late) late = std::make_shared<LateAnswers>();
    return late;
}

void LateAnswers::expect(int id, size_t parameters, Time until)
{
    if (id <= kLastServoId && parameters <= kWord)
        m_until[static_cast<size_t>(id)][parameters] = until;
}

Time LateAnswers::until(int id, size_t parameters) const
{
    if (id > kLastServoId || parameters > kWord) return Time();
    return m_until[static_cast<size_t>(id)][parameters];
}

}  // namespace quill::dynamixel

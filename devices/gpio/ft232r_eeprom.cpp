#include "devices/gpio/ft232r_eeprom.h"

#include "common/interrupt.h"
#include "ft232r.h"

namespace quill
{
namespace
{

constexpr const char* kStep = "write the EEPROM";

}  // namespace

Ft232rEeprom::Ft232rEeprom() : m_chip(std::make_unique<FT232R>()) {}
Ft232rEeprom::~Ft232rEeprom() = default;

std::optional<Error> Ft232rEeprom::open(const std::string& path)
{
    m_path = path;
    return m_chip->open(path);
}

std::optional<Error> Ft232rEeprom::read(ft232r::EepromWords* words)
{
    for (size_t i = 0; i < words->size(); ++i)
        if (auto error = m_chip->readEeprom(static_cast<int>(i), &(*words)[i])) return error;
    return std::nullopt;
}

std::optional<Error> Ft232rEeprom::write(const ft232r::EepromWords& present,
                                         const ft232r::EepromWords& wanted)
{
    const InterruptDelay wholeWrite;
    if (const auto error = writeWords(present, wanted)) return putBack(*error, present);
    ft232r::EepromWords found;
    if (const auto error = read(&found)) return putBack(*error, present);
    if (found == wanted) return std::nullopt;
    if (found == present)
        return Error{m_path,
                     kStep,
                     0,
                     "the chip says that it wrote, and is unchanged",
                     "a counterfeit chip does so: use another adapter",
                     ErrorKind::Refused};
    return putBack({m_path, kStep, 0, "what is read back differs", ""}, present);
}

std::optional<Error> Ft232rEeprom::writeWords(const ft232r::EepromWords& present,
                                              const ft232r::EepromWords& wanted)
{
    int latencyMs = 0;
    if (auto error = m_chip->beginEepromWrite(&latencyMs)) return error;
    std::optional<Error> error;
    for (size_t i = 0; i < wanted.size() && !error; ++i)
        if (wanted[i] != present[i]) error = m_chip->writeEeprom(static_cast<int>(i), wanted[i]);
    auto endError = m_chip->endEepromWrite(latencyMs);
    return error ? error : endError;
}

Error Ft232rEeprom::putBack(Error error, const ft232r::EepromWords& present)
{
    ft232r::EepromWords found = present;
    bool isBack = !read(&found);
    if (isBack && found != present)
        isBack = !writeWords(found, present) && !read(&found) && found == present;
    error.step = kStep;
    error.remedy = isBack ? "the content is as it was before"
                          : "the content may be half new: plug the adapter in again and restore "
                            "the backup before it is used";
    return error;
}

}  // namespace quill

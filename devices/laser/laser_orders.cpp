#include "laser_orders.h"

#include "common/logging.h"

namespace quill::laser
{
namespace
{

constexpr const char* kCategory = "laser";

}  // namespace

std::vector<uint8_t> order(bool on)
{
    if (on) return {0xA0, 0x01, 0x01, 0xA2};
    return {0xA0, 0x01, 0x00, 0xA1};
}

bool report(bool on, const std::optional<Error>& error)
{
    if (error)
        QUILL_LOG(kWarning, kCategory)
            << "laser not switched " << (on ? "on" : "off") << ": " << error->text();
    return !error;
}

}  // namespace quill::laser

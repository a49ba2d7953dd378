#include "common/error.h"

#include <cstring>

namespace quill
{

std::string Error::text() const
{
    char buffer[128];
    const std::string cause = reason.empty() ? strerror_r(number, buffer, sizeof buffer) : reason;
    return subject + ": " + step + ": " + cause + (remedy.empty() ? "" : " (" + remedy + ")");
}

}  // namespace quill

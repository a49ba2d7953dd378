#pragma once

#include <umockdev.h>

#include <cstring>
#include <memory>

namespace rigsim
{

struct Unref
{
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using GObjectPtr = std::unique_ptr<Object, Unref>;

/// The memory of a program that its pointer at `offset` of `data` leads to.
/// @return null when the program has gone
inline GObjectPtr<UMockdevIoctlData> resolve(UMockdevIoctlData* data, size_t offset, size_t size)
{
    GError* error = nullptr;
    GObjectPtr<UMockdevIoctlData> result(umockdev_ioctl_data_resolve(data, offset, size, &error));
    g_clear_error(&error);
    return result;
}

/// What the argument of an ioctl points to.
inline GObjectPtr<UMockdevIoctlData> resolveArgument(UMockdevIoctlClient* client, size_t size)
{
    return resolve(umockdev_ioctl_client_get_arg(client), 0, size);
}

/// The value that stands there.
template <typename Value>
Value get(const UMockdevIoctlData& data)
{
    Value value{};
    std::memcpy(&value, data.data, sizeof value);
    return value;
}

/// Writes into the program's memory.
template <typename Value>
void put(UMockdevIoctlData* data, const Value& value, size_t offset = 0)
{
    Value copy = value;
    umockdev_ioctl_data_update(data, offset, reinterpret_cast<guint8*>(&copy), sizeof copy);
}

}  // namespace rigsim

#include "common/property_value.h"

namespace quill
{

// The two supported types are instantiated here as well, for the property tree's own use.
template class property_internal::PropertyValueOperatorsT<int>;
template class property_internal::PropertyValueOperatorsT<std::string>;

PropertyValue& PropertyValue::operator=(const PropertyValue& other)
{
    if (this == &other) return *this;
    destroyObject();
    if (other.isEmpty()) {
        releaseHeap();
        return *this;
    }
    void* storage = other.heapStorage != nullptr ? reserveHeap(other.size) : releaseHeap();
    other.operators->valueCopy(storage, other.object());
    size = other.size;
    operators = other.operators;
    return *this;
}

bool PropertyValue::operator==(const PropertyValue& other) const
{
    if (isEmpty() || other.isEmpty()) return isEmpty() == other.isEmpty();
    return operators->typeInfo() == other.operators->typeInfo() &&
           operators->equals(object(), other.object());
}

void PropertyValue::clear()
{
    destroyObject();
    releaseHeap();
}

void PropertyValue::destroyObject()
{
    if (isEmpty()) return;
    operators->valueDestructor(mutableObject());
    operators.reset();
    size = 0;
}

void* PropertyValue::reserveHeap(size_t bytes)
{
    void* block = std::realloc(heapStorage, bytes);
    if (block == nullptr) throw std::bad_alloc();
    return heapStorage = block;
}

void* PropertyValue::releaseHeap()
{
    std::free(heapStorage);
    heapStorage = nullptr;
    return inlineStorage;
}

}  // namespace quill

#pragma once

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "common/assertions.h"
#include "common/export.h"

namespace quill
{

/// The text form of a type: what its stream operators write and read.
template <typename T, typename Enable = void>
struct ValueTraitsHelper
{
    /// Parses `text` into the T at `value`. Leading white space is skipped and what follows the
    /// value is ignored, as in formatted stream input.
    /// @return false when no value could be read or it is out of range; `value` is then as the
    /// failed extraction left it
    static bool tryFromString(void* value, const std::string& text)
    {
        std::istringstream stream(text);
        stream >> *static_cast<T*>(value);
        return !stream.fail();
    }

    /// As tryFromString(), and reports a failure through handleAssertion().
    static void fromString(void* value, const std::string& text)
    {
        QUILL_ASSERT_MESSAGE(tryFromString(value, text), "Failed conversion from %s.",
                             text.c_str());
    }

    static std::string toString(const void* value)
    {
        std::ostringstream stream;
        stream << *static_cast<const T*>(value);
        return stream.str();
    }
};

/// A string is its own text form: every text converts.
template <>
struct ValueTraitsHelper<std::string>
{
    static bool tryFromString(void* value, const std::string& text)
    {
        *static_cast<std::string*>(value) = text;
        return true;
    }
    static void fromString(void* value, const std::string& text) { tryFromString(value, text); }
    static std::string toString(const void* value)
    {
        return *static_cast<const std::string*>(value);
    }
};

namespace property_internal
{

/// What a PropertyValue knows about the type it holds. Every pointer is to an object of that type.
class QUILL_API PropertyValueOperators
{
  public:
    virtual ~PropertyValueOperators() = default;

    virtual std::string toString(const void* value) const = 0;
    /// Parses into the existing object at `value`; a failure is reported.
    virtual void fromString(void* value, const std::string& text) const = 0;
    /// Whether `text` reads as this type. Reports nothing, changes nothing.
    virtual bool canConvertToTypeFromString(const std::string& text) const = 0;
    /// Destroys the object in place; the storage stays.
    virtual void valueDestructor(void* value) const = 0;
    /// Copy-constructs at `destination`; does nothing when that is null.
    virtual void valueCopy(void* destination, const void* source) const = 0;
    virtual bool equals(const void* a, const void* b) const = 0;
    virtual const std::type_info& typeInfo() const = 0;
    virtual const char* typeName() const = 0;
};

/// Name of a type that settings may have. A type without one cannot be held.
template <typename T>
struct TypeName;
template <>
struct TypeName<int>
{
    static constexpr const char* value = "int32";
};
template <>
struct TypeName<std::string>
{
    static constexpr const char* value = "string";
};

template <typename T>
class QUILL_API PropertyValueOperatorsT : public PropertyValueOperators
{
  public:
    /// The operations object of T that all values of T share: one for the process, across the
    /// program and all libraries.
    static const std::shared_ptr<PropertyValueOperators>& staticCopy()
    {
        static const std::shared_ptr<PropertyValueOperators> static_copy(
            new PropertyValueOperatorsT<T>);
        return static_copy;
    }

    std::string toString(const void* value) const override
    {
        return ValueTraitsHelper<T>::toString(value);
    }
    void fromString(void* value, const std::string& text) const override
    {
        ValueTraitsHelper<T>::fromString(value, text);
    }
    bool canConvertToTypeFromString(const std::string& text) const override
    {
        T scratch{};
        return ValueTraitsHelper<T>::tryFromString(&scratch, text);
    }
    void valueDestructor(void* value) const override { static_cast<T*>(value)->~T(); }
    void valueCopy(void* destination, const void* source) const override
    {
        if (destination != nullptr) new (destination) T(*static_cast<const T*>(source));
    }
    bool equals(const void* a, const void* b) const override
    {
        return *static_cast<const T*>(a) == *static_cast<const T*>(b);
    }
    const std::type_info& typeInfo() const override { return typeid(T); }
    const char* typeName() const override { return TypeName<T>::value; }
};

}  // namespace property_internal

/// One value of any supported type, or none. Has no lock: a value outside a property node belongs
/// to one thread.
class QUILL_API PropertyValue
{
  public:
    PropertyValue() = default;
    PropertyValue(const PropertyValue& other) { *this = other; }
    ~PropertyValue() { clear(); }
    PropertyValue& operator=(const PropertyValue& other);

    /// Two empty values are equal; values of different types never are.
    bool operator==(const PropertyValue& other) const;
    bool operator!=(const PropertyValue& other) const { return !(*this == other); }

    /// Makes this value hold `value`. Empty afterwards if the memory for it is exhausted
    /// (std::bad_alloc).
    template <typename T>
    void set(T value)
    {
        destroyObject();
        void* storage = kStoredInline<T> ? releaseHeap() : reserveHeap(sizeof(T));
        new (storage) T(std::move(value));
        size = sizeof(T);
        operators = property_internal::PropertyValueOperatorsT<T>::staticCopy();
    }

    /// Reads the value as a T, through its text form when it is of another type; a text that does
    /// not convert is reported through handleAssertion().
    /// @return false only when the value is empty; `out` is then unchanged
    template <typename T>
    bool get(T& out) const
    {
        if (isEmpty()) return false;
        if (operators->typeInfo() == typeid(T))
            out = *static_cast<const T*>(object());
        else
            ValueTraitsHelper<T>::fromString(&out, operators->toString(object()));
        return true;
    }

    void clear();
    bool isEmpty() const { return operators == nullptr; }

    /// Text form of the value; empty when there is none.
    std::string toString() const
    {
        return isEmpty() ? std::string() : operators->toString(object());
    }

    /// Operations of the held type; null when the value is empty. Valid as long as the value is.
    const property_internal::PropertyValueOperators* type() const { return operators.get(); }

    /// Object size of the held type in bytes; 0 when empty.
    uint64_t objectSize() const { return size; }

    /// The held object: in the heap block when there is one, inside this value otherwise.
    const void* object() const { return heapStorage != nullptr ? heapStorage : inlineStorage; }

  private:
    static constexpr size_t kInlineBytes = 8;
    template <typename T>
    static constexpr bool kStoredInline = std::is_trivially_copyable_v<T> &&
                                          sizeof(T) <= kInlineBytes;

    void* mutableObject() { return heapStorage != nullptr ? heapStorage : inlineStorage; }

    /// Destroys the held object and leaves its heap block for the next one.
    void destroyObject();
    void* reserveHeap(size_t bytes);
    void* releaseHeap();

    alignas(void*) unsigned char inlineStorage[kInlineBytes] = {};
    void* heapStorage = nullptr;
    uint64_t size = 0;
    std::shared_ptr<property_internal::PropertyValueOperators> operators;
};

}  // namespace quill

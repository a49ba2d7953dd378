#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "common/assertions.h"
#include "common/export.h"
#include "common/property_node.h"
#include "common/property_value.h"

/// Static properties: typed settings declared at namespace scope. Constructing one queues it;
/// initializeStaticProperties() binds all of the queue to the property tree; from then on a read
/// returns the node's current value.
namespace quill
{

class NonCopyable
{
  public:
    NonCopyable() = default;
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;
};

/// Base of objects whose initialisation waits until the subsystem named by `Tag` starts. Each
/// queues itself when constructed, during static construction, which is single-threaded. The queue
/// does not own its entries; who destroys one that may still wait takes it out first.
template <typename Tag, typename Args>
class QUILL_API StaticDeferredInit : public NonCopyable
{
  public:
    StaticDeferredInit() : next(std::exchange(s_head, this)) {}
    virtual void initialize(const Args& args) = 0;
    virtual ~StaticDeferredInit() = default;

    StaticDeferredInit* next;

    /// Takes the entry that was queued last out of the queue; null when none waits.
    static StaticDeferredInit* take()
    {
        return s_head == nullptr ? nullptr : std::exchange(s_head, s_head->next);
    }

    /// Takes this entry out, if it waits.
    static void withdraw(const StaticDeferredInit* entry)
    {
        StaticDeferredInit** link = &s_head;
        while (*link != nullptr && *link != entry) link = &(*link)->next;
        if (*link != nullptr) *link = entry->next;
    }

    /// The entry queued last; null while nothing is queued. Every module that declares a property
    /// defines it, and the dynamic linker makes them one.
    static StaticDeferredInit* s_head;
};

template <typename Tag, typename Args>
StaticDeferredInit<Tag, Args>* StaticDeferredInit<Tag, Args>::s_head = nullptr;

struct QUILL_API StaticPropertyInitArgs
{
    PropertyNode* root;
};

/// Names the queue of the static properties.
class QUILL_API StaticPropertyInitTag
    : public StaticDeferredInit<StaticPropertyInitTag, StaticPropertyInitArgs>
{};

/// Told of the node once a property is bound.
class QUILL_API StaticPropertyInitCallback
{
  public:
    virtual void initialized(std::shared_ptr<PropertyNode> node) = 0;
    virtual ~StaticPropertyInitCallback() = default;
};

/// A typed handle on one node.
template <typename T>
struct PropertyWrapper
{
    std::shared_ptr<PropertyNode> node;
};

template <typename T, typename WrapperType, typename FinalType>
class StaticPropertyBase
{
  public:
    /// The node's current value. Reading before the properties are bound is a fatal mistake.
    T operator()() const
    {
        if (data->wrapper == nullptr) {
            std::fprintf(stderr,
                         "Tried to use a static property (%s) before the property system is "
                         "initialized.",
                         data->path.c_str());
            QUILL_BREAKPOINT();
            return data->defaultValue;  // continued under a debugger
        }
        return data->wrapper->node->template get<T>();
    }

  protected:
    class Data : public StaticPropertyInitTag
    {
      public:
        /// Binds the property to its node, which is created if needed, and gives the node the
        /// default and the metadata.
        void initialize(const StaticPropertyInitArgs& args) override
        {
            QUILL_ASSERT_MESSAGE(!path.empty(), "Property path cannot be empty string.");
            auto bound = std::make_shared<WrapperType>();
            bound->node = args.root->getNode(path, true);
            bound->node->setAllMeta(metadata);
            PropertyValue value;
            value.set<T>(defaultValue);
            bound->node->setDefaultValue(value);
            if (fileName != nullptr)
                bound->node->template setMeta<std::string>("file_name", fileName);
            wrapper = std::move(bound);
            if (initCallback != nullptr) initCallback->initialized(wrapper->node);
        }

        std::string path;
        T defaultValue = T();
        const char* fileName = nullptr;
        std::shared_ptr<WrapperType> wrapper;  ///< empty until bound
        std::shared_ptr<PropertyMetadata> metadata;
        std::shared_ptr<StaticPropertyInitCallback> initCallback;
    };

    std::shared_ptr<Data> data;
};

template <typename T>
class StaticProperty : public StaticPropertyBase<T, PropertyWrapper<T>, StaticProperty<T>>
{
    using Base = StaticPropertyBase<T, PropertyWrapper<T>, StaticProperty<T>>;

  public:
    /// @param path      the setting's name; names of several levels are separated by "/"
    /// @param fileName  the declaring source file, not owned; may be null
    StaticProperty(const std::string& path, T defaultValue, const char* fileName)
    {
        // Without the withdrawal a property that is gone before it is bound would leave the queue
        // with a pointer to memory that the next property may get.
        const auto destroy = [](typename Base::Data* gone) {
            Base::Data::withdraw(gone);
            delete gone;
        };
        this->data = std::shared_ptr<typename Base::Data>(new typename Base::Data, destroy);
        this->data->path = path;
        this->data->defaultValue = std::move(defaultValue);
        this->data->fileName = fileName;
        this->data->metadata = std::make_shared<PropertyMetadata>();
    }
};

/// The root of the process's property tree.
QUILL_API const std::shared_ptr<PropertyNode>& propertyTree();

/// Binds every static property queued since the last call. Called by the start-up; call it again
/// after loading a module that declares settings of its own.
QUILL_API void initializeStaticProperties();

}  // namespace quill

/// Defines the setting `variable` and, beside it, the function that records its name, namespace and
/// type for the linker: a declaration elsewhere that gets one of them wrong does not link.
#define QUILL_DEFINE_PROPERTY(type, variable, path, defaultValue)                           \
    ::quill::StaticProperty<type> variable(path, defaultValue, __FILE__);                   \
    QUILL_API void in_this_namespace_property_##variable##_was_not_defined_with_type(type); \
    void in_this_namespace_property_##variable##_was_not_defined_with_type(type) {}         \
    static_assert(true, "a semicolon follows")

/// Declares a setting that another source file defines.
#define QUILL_DECLARE_PROPERTY(type, variable)                                              \
    extern ::quill::StaticProperty<type> variable;                                          \
    QUILL_API void in_this_namespace_property_##variable##_was_not_defined_with_type(type); \
    /* used: an optimiser that drops the pointer drops the check with it */                 \
    [[gnu::used]] static void (*const variable##_guard)(type) =                             \
        &in_this_namespace_property_##variable##_was_not_defined_with_type

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/assertions.h"
#include "common/export.h"
#include "common/property_value.h"

namespace quill
{

class PropertyNode;

/// What changed on a node.
enum PropertyChangeKind : uint32_t {
    kValueChanged = 1,    ///< the node was given a value of its own; `value` is a copy
    kDefaultChanged = 2,  ///< the default changed; `value` is a copy of the new one
    kMetaChanged = 3,     ///< `name` is the key, or "*" when all metadata was replaced
};

struct PropertyChangeInfo
{
    uint32_t kind = 0;
    std::string name;
    PropertyValue value;
    uint64_t counter = 0;  ///< the node's change counter after this change
};

using PropertyMetadata = std::map<std::string, PropertyValue>;

/// The part of a node that several threads may change, and the lock that guards it.
class QUILL_API PropertyNodeData
{
  public:
    class SharedDataLock;

    /// Is told of a change while the node's lock is held; to reach the same node again it must name
    /// that lock as parent.
    using Observer = std::function<void(SharedDataLock& lock, const PropertyChangeInfo& change)>;

    struct SharedData
    {
        PropertyValue value;  ///< the current value: the node's own, else the default
        uint64_t changeCounter = 0;
        std::shared_ptr<PropertyMetadata> metaMap;  ///< null until first needed

        PropertyValue defaultValue;
        bool hasOwnValue = false;
        std::map<int, Observer> observers;
        int lastObserverId = 0;

        /// The entry for `key`, created empty if missing.
        QUILL_API PropertyValue& meta(const std::string& key);
    };

    /// Exclusive access to the shared data of a node while it lives.
    class QUILL_API SharedDataLock
    {
      public:
        /// @param parent  a lock that the caller already holds, or null; when it or one of its own
        /// parents is of the same node, nothing is locked again
        SharedDataLock(PropertyNode* node, SharedDataLock* parent);
        SharedDataLock(const SharedDataLock&) = delete;
        SharedDataLock& operator=(const SharedDataLock&) = delete;

        SharedData* operator->() const { return data; }
        PropertyNode* node() const { return m_node; }

      private:
        SharedData* data;
        PropertyNode* m_node;
        SharedDataLock* m_parent;
        std::unique_lock<std::mutex> m_lock;
    };

  private:
    std::mutex m_mutex;
    SharedData m_shared;
};

/// A node of the property tree. Nodes live as long as the tree; all operations are thread-safe.
class QUILL_API PropertyNode : public std::enable_shared_from_this<PropertyNode>
{
  public:
    PropertyNode() = default;
    PropertyNode(const PropertyNode&) = delete;
    PropertyNode& operator=(const PropertyNode&) = delete;

    /// @param path    names below this node, separated by "/"; empty names are skipped
    /// @param create  make the node and any missing nodes on the way
    /// @return the node, the same one for the same path; null when it is missing and not to be made
    std::shared_ptr<PropertyNode> getNode(const std::string& path, bool create);

    /// Calls `visit` for every node below this one with its path, in the order of their names.
    using Visitor = std::function<void(const std::string& path, PropertyNode& node)>;
    void visitNodes(const Visitor& visit) { visitNodes("", visit); }

    /// Gives the node a value of its own, which wins over the default; an empty one takes it away.
    void setValue(const PropertyValue& value);

    /// Records the default. A node without a value of its own reads as its default.
    void setDefaultValue(const PropertyValue& value);
    PropertyValue defaultValue();

    /// The typed read. A node without any value is reported through handleAssertion() and reads as
    /// T().
    template <typename T>
    T get()
    {
        T temp = T();
        PropertyNodeData::SharedDataLock d(this, nullptr);
        QUILL_ASSERT(d->value.get<T>(temp));
        return temp;
    }

    /// Sets one metadata entry. @return 0 when nothing changed, else the change counter.
    template <typename T>
    unsigned long setMeta(const std::string& key, T value)
    {
        PropertyNodeData::SharedDataLock lock(this, nullptr);
        PropertyValue wanted;
        wanted.set<T>(std::move(value));
        PropertyValue& entry = lock->meta(key);
        if (entry == wanted) return 0;
        entry = wanted;
        announce(lock, kMetaChanged, key, entry);
        return lock->changeCounter;
    }

    /// Replaces all metadata by copies of `meta`; null counts as none and takes the map away.
    /// @return 0 when nothing changed, else the change counter
    unsigned long setAllMeta(const std::shared_ptr<const PropertyMetadata>& meta);

    /// The metadata entry for `key`; empty when there is none.
    PropertyValue meta(const std::string& key);

    /// @param parent  as for SharedDataLock, for calls out of an observer
    /// @return a number for removeObserver()
    int addObserver(PropertyNodeData::Observer observer,
                    PropertyNodeData::SharedDataLock* parent = nullptr);
    /// @return whether there was such an observer. It is not called again once this has returned.
    bool removeObserver(int id, PropertyNodeData::SharedDataLock* parent = nullptr);

    /// Delivers `change` to the node's observers, in the order they were added. Called with the
    /// lock held, after the change has been made and the counter advanced.
    void fireChangedOnData(PropertyNodeData::SharedDataLock& lock,
                           const PropertyChangeInfo& change);

  private:
    friend class PropertyNodeData::SharedDataLock;

    std::shared_ptr<PropertyNode> child(const std::string& name, bool create);
    void visitNodes(const std::string& prefix, const Visitor& visit);
    /// Advances the counter and fires the change.
    void announce(PropertyNodeData::SharedDataLock& lock, PropertyChangeKind kind,
                  const std::string& name, const PropertyValue& value);

    PropertyNodeData m_data;
    std::mutex m_childrenMutex;
    std::map<std::string, std::shared_ptr<PropertyNode>> m_children;
};

}  // namespace quill

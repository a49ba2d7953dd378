#include "common/property_node.h"

#include <utility>

#include "common/text.h"

namespace quill
{

PropertyNodeData::SharedDataLock::SharedDataLock(PropertyNode* node, SharedDataLock* parent)
    : data(&node->m_data.m_shared), m_node(node), m_parent(parent)
{
    for (const SharedDataLock* held = parent; held != nullptr; held = held->m_parent)
        if (held->m_node == node) return;
    m_lock = std::unique_lock<std::mutex>(node->m_data.m_mutex);
}

PropertyValue& PropertyNodeData::SharedData::meta(const std::string& key)
{
    if (metaMap == nullptr) metaMap = std::make_shared<PropertyMetadata>();
    return (*metaMap)[key];
}

std::shared_ptr<PropertyNode> PropertyNode::getNode(const std::string& path, bool create)
{
    std::vector<std::string> names;
    SplitString(path, "/", &names, kSplitDefault);
    auto node = shared_from_this();
    for (const auto& name : names) {
        node = node->child(name, create);
        if (node == nullptr) return nullptr;
    }
    return node;
}

std::shared_ptr<PropertyNode> PropertyNode::child(const std::string& name, bool create)
{
    const std::lock_guard<std::mutex> lock(m_childrenMutex);
    const auto found = m_children.find(name);
    if (found != m_children.end()) return found->second;
    if (!create) return nullptr;
    return m_children[name] = std::make_shared<PropertyNode>();
}

void PropertyNode::visitNodes(const std::string& prefix, const Visitor& visit)
{
    std::map<std::string, std::shared_ptr<PropertyNode>> children;
    {
        const std::lock_guard<std::mutex> lock(m_childrenMutex);
        children = m_children;
    }
    for (const auto& [name, node] : children) {
        visit(prefix + name, *node);
        node->visitNodes(prefix + name + "/", visit);
    }
}

void PropertyNode::setValue(const PropertyValue& value)
{
    PropertyNodeData::SharedDataLock lock(this, nullptr);
    const bool hasOwnValue = !value.isEmpty();
    if (lock->hasOwnValue == hasOwnValue && (!hasOwnValue || lock->value == value)) return;
    lock->hasOwnValue = hasOwnValue;
    lock->value = hasOwnValue ? value : lock->defaultValue;
    announce(lock, kValueChanged, "", value);
}

void PropertyNode::setDefaultValue(const PropertyValue& value)
{
    PropertyNodeData::SharedDataLock lock(this, nullptr);
    if (lock->defaultValue == value) return;
    lock->defaultValue = value;
    if (!lock->hasOwnValue) lock->value = value;
    announce(lock, kDefaultChanged, "", value);
}

PropertyValue PropertyNode::defaultValue()
{
    PropertyNodeData::SharedDataLock lock(this, nullptr);
    return lock->defaultValue;
}

unsigned long PropertyNode::setAllMeta(const std::shared_ptr<const PropertyMetadata>& meta)
{
    PropertyNodeData::SharedDataLock lock(this, nullptr);
    auto& own = lock->metaMap;
    if (meta == nullptr) {
        const auto before = std::exchange(own, nullptr);
        if (before == nullptr || before->empty()) return 0;
    } else {
        if (own == nullptr) own = std::make_shared<PropertyMetadata>();
        if (*meta == *own) return 0;
        *own = *meta;
    }
    announce(lock, kMetaChanged, "*", PropertyValue());
    return lock->changeCounter;
}

PropertyValue PropertyNode::meta(const std::string& key)
{
    PropertyNodeData::SharedDataLock lock(this, nullptr);
    if (lock->metaMap == nullptr) return {};
    const auto found = lock->metaMap->find(key);
    return found != lock->metaMap->end() ? found->second : PropertyValue();
}

int PropertyNode::addObserver(PropertyNodeData::Observer observer,
                              PropertyNodeData::SharedDataLock* parent)
{
    PropertyNodeData::SharedDataLock lock(this, parent);
    lock->observers[++lock->lastObserverId] = std::move(observer);
    return lock->lastObserverId;
}

bool PropertyNode::removeObserver(int id, PropertyNodeData::SharedDataLock* parent)
{
    PropertyNodeData::SharedDataLock lock(this, parent);
    return lock->observers.erase(id) > 0;
}

void PropertyNode::fireChangedOnData(PropertyNodeData::SharedDataLock& lock,
                                     const PropertyChangeInfo& change)
{
    const auto observers = lock->observers;  // an observer may add and remove observers
    for (const auto& [id, observer] : observers)
        if (lock->observers.count(id) > 0) observer(lock, change);
}

void PropertyNode::announce(PropertyNodeData::SharedDataLock& lock, PropertyChangeKind kind,
                            const std::string& name, const PropertyValue& value)
{
    PropertyChangeInfo change;
    change.kind = kind;
    change.name = name;
    change.value = value;
    change.counter = ++lock->changeCounter;
    fireChangedOnData(lock, change);
}

}  // namespace quill

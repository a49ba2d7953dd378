#include "common/properties.h"

namespace quill
{

const std::shared_ptr<PropertyNode>& propertyTree()
{
    static const auto root = std::make_shared<PropertyNode>();
    return root;
}

void initializeStaticProperties()
{
    using Queue = StaticDeferredInit<StaticPropertyInitTag, StaticPropertyInitArgs>;
    static Queue* s_bound = nullptr;  // the queue from here on is bound already

    const StaticPropertyInitArgs args{propertyTree().get()};
    for (Queue* entry = Queue::s_head; entry != s_bound; entry = entry->next)
        entry->initialize(args);
    s_bound = Queue::s_head;
}

}  // namespace quill

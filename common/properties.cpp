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
    const StaticPropertyInitArgs args{propertyTree().get()};
    while (auto* entry = StaticPropertyInitTag::take()) entry->initialize(args);
}

}  // namespace quill

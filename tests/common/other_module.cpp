#include "other_module.h"

#include "common/properties.h"

QUILL_DEFINE_PROPERTY(int, p_other_speed, "other/speed", 7);

const void* otherQueueHead()
{
    return &quill::StaticDeferredInit<quill::StaticPropertyInitTag,
                                      quill::StaticPropertyInitArgs>::s_head;
}

const void* otherIntOperators()
{
    return quill::property_internal::PropertyValueOperatorsT<int>::staticCopy().get();
}

const void* otherStringOperators()
{
    return quill::property_internal::PropertyValueOperatorsT<std::string>::staticCopy().get();
}

int readOtherSetting()
{
    return p_other_speed();
}

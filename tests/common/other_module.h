#pragma once

#define OTHER_API __attribute__((visibility("default")))

/// What a second shared library sees of the statics that must be one for the process.
OTHER_API const void* otherQueueHead();
OTHER_API const void* otherIntOperators();
OTHER_API const void* otherStringOperators();
OTHER_API int readOtherSetting();

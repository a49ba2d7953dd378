#pragma once

/// Marks what libquill.so shows: its functions and classes, and the template statics of which the
/// whole process must see one object (the dynamic linker merges them only when they are visible).
#define QUILL_API __attribute__((visibility("default")))

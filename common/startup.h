#pragma once

#include <memory>

#include "common/export.h"

namespace quill
{

/// The common start-up of all programs: watches interrupts.
class QUILL_API CommonInit
{
  public:
    /// @return a guard; its release puts back what the start-up set up. To be released last in
    /// main.
    virtual std::shared_ptr<void> init() = 0;

  protected:
    ~CommonInit() = default;
};

QUILL_API extern CommonInit* const g_common_init;

}  // namespace quill

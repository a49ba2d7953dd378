#include "common/startup.h"

#include <cstdio>

#include "common/interrupt.h"

namespace quill
{
namespace
{

class StandardInit final : public CommonInit
{
  public:
    std::shared_ptr<void> init() override
    {
        watchInterrupts();
        return {nullptr, [](void*) {
                    std::fflush(stdout);
                    unwatchInterrupts();
                }};
    }
};

StandardInit s_standardInit;

}  // namespace

CommonInit* const g_common_init = &s_standardInit;

}  // namespace quill

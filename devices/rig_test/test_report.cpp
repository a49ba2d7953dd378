#include "test_report.h"

#include <exception>

#include "common/logging.h"

namespace quill::app
{
namespace
{

constexpr const char* kCategory = "rig_test";

}  // namespace

void TestReport::begin(const DeviceName& device, const std::string& step)
{
    m_step = device.role + " " + device.path + ": " + step;
    QUILL_LOG(kTrace, kCategory) << m_step;
}

bool TestReport::fail(const std::string& expected, const std::string& came)
{
    if (hasFailed()) m_text += "; and ";
    m_text += m_step + ": expected " + expected + ", came " + came;
    return false;
}

void TestReport::watch(const std::function<void()>& part)
{
    try {
        part();
    } catch (const std::exception& exception) {
        fail("no exception", exception.what());
    }
}

}  // namespace quill::app

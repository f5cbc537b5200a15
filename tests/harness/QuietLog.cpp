// For test programs that add this file to their sources: without a LogCapture nothing is logged, so that no case writes
// log files or opens handles behind the back of the unit under test.
#include "shared/Logger.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
class QuietLog final : public testing::Environment
{
  public:
    void SetUp() override
    {
        static_cast<void>(Quil::Shared::CqlLogger::ExchangeInstance(std::make_unique<Quil::Shared::CqlLogger>()));
    }
};

[[maybe_unused]] const testing::Environment* const g_quietLog = testing::AddGlobalTestEnvironment(new QuietLog);
} // namespace

// Faults under the reading of the system information: COM, WMI and the build file.
#include "tests/faults/FaultTests.h"
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "shared/WideText.h"

using Faults::FaultRun;

namespace
{

void ReaderObject(FaultRun& run)
{
    FakeWmi wmi;
    run.Try([] {
        const Reader reader;
        return Faults::Returned();
    });
}

void BuildFile(FaultRun& run)
{
    FakeWmi wmi;
    wmi.noDrive = false;
    Reader reader;
    run.Try([&] { return std::wstring{reader.ReadBuildFromFile() ? L"read" : L"not read"}; });
}

const Faults::Operation kOperations[] = {
    {"ReaderObject", &ReaderObject, LR"(
untouched  => returned | holds nothing
CoInitializeEx 1 => returned | holds COM -1
  Error|RpcServer::WMIData::WMIData|CoInitializeEx failed.  Error: 0x{hX}
CoInitializeSecurity 1 => returned | holds nothing
  Error|RpcServer::WMIData::WMIData|Failed to initialize security..  Error: 0x{hX}
)"},
    {"BuildFile", &BuildFile, LR"(
untouched ; GetEnvironmentVariableW 1 => not read | holds nothing
allocation 1 => not read | holds nothing
  Error|RpcServer::WMIData::ReadBuildFromFile|Memory Allocation failed : Out of memory
)"},
};

INSTANTIATE_TEST_SUITE_P(SysInfo, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace

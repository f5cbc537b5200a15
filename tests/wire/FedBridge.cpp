#include "tests/wire/FedBridge.h"

#include "hotkey/KeyBoardBridge.h"

FedBridge& Feed()
{
    static FedBridge feed;
    return feed;
}

namespace RpcServer
{

CKeyBoardBridge::CKeyBoardBridge(WMIData* wmiData) : m_pWMIData{wmiData} {}

CKeyBoardBridge* CKeyBoardBridge::getInstance(WMIData* wmiData)
{
    static CKeyBoardBridge instance{wmiData};
    return Feed().bMissing ? nullptr : &instance;
}

void CKeyBoardBridge::ProcessCommand(unsigned command)
{
    Feed().processCommand(command);
}

void CKeyBoardBridge::LaunchUsbCApp()
{
    Feed().launchUsbCApp();
}

CStringW CKeyBoardBridge::GetSysInfo()
{
    return Feed().sysInfo();
}

std::wstring CKeyBoardBridge::GetUSBTypeCInfoAsWString()
{
    return Feed().usbTypeC();
}

} // namespace RpcServer

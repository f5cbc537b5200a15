// A bridge of the test's own, apart from the process's one.
#pragma once

#include "hotkey/KeyBoardBridge.h"

class ProbeBridge : public RpcServer::CKeyBoardBridge
{
  public:
    explicit ProbeBridge(RpcServer::WMIData* wmiData = nullptr) : CKeyBoardBridge{wmiData} {}

    // The next getInstance makes a bridge anew; the one before is left as it is.
    static void ForgetInstance() { s_pInstance = nullptr; }
};

// The service as the handler sees it, and a system-information reader with a text of the test's choice.
#pragma once

#include "hotkey/SysInfoSource.h"
#include "sysinfo/WmiData.h"

#include <windows.h>

#include <functional>
#include <string>
#include <utility>

class ReaderStandIn : public RpcServer::WMIData
{
  public:
    void SetText(std::wstring text)
    {
        m_strSysInfo = std::move(text);
        m_bRendered = true;
    }
};

// In place for its lifetime; reading starts and finishes unless the test says otherwise.
class SourceStandIn
{
  public:
    SourceStandIn() : m_previous{RpcServer::SysInfo::g_sysInfoSource}
    {
        s_current = this;
        RpcServer::SysInfo::g_sysInfoSource = {[] {
                                                   ++s_current->starts;
                                                   return s_current->startResult;
                                               },
                                               [](DWORD timeoutMs) {
                                                   ++s_current->waits;
                                                   s_current->timeout = timeoutMs;
                                                   if (s_current->onWait)
                                                   {
                                                       s_current->onWait();
                                                   }
                                                   return s_current->waitResult;
                                               },
                                               []() -> RpcServer::WMIData* { return s_current->reader; }};
    }
    ~SourceStandIn() { RpcServer::SysInfo::g_sysInfoSource = m_previous; }
    SourceStandIn(const SourceStandIn&) = delete;
    SourceStandIn& operator=(const SourceStandIn&) = delete;

    bool startResult{true};
    bool waitResult{true};
    std::function<void()> onWait;
    RpcServer::WMIData* reader{nullptr};

    int starts{0};
    int waits{0};
    DWORD timeout{0};

  private:
    static inline SourceStandIn* s_current = nullptr;

    RpcServer::SysInfo::SysInfoSource m_previous;
};

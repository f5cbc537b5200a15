#include "hotkey/OverlappedIO.h"

#include "shared/TraceScope.h"

#include <new>

using namespace Quil::Shared;

namespace RpcServer::SysInfo
{

COverlappedIO::COverlappedIO()
{
    CTraceScope trace{"RpcServer::SysInfo::COverlappedIO::COverlappedIO"};

    m_hEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_hEvent)
    {
        trace.Error(L"CreateEvent  failed with Error : %d", GetLastError());
    }
    m_pOverlapped.reset(new (std::nothrow) OVERLAPPED{});
    if (m_pOverlapped == nullptr)
    {
        throw DWORD{GetLastError()};
    }
    m_pOverlapped->hEvent = m_hEvent.Get();
}

COverlappedIO::~COverlappedIO()
{
    CTraceScope trace{"RpcServer::SysInfo::COverlappedIO::~COverlappedIO"};

    if (m_hEvent)
    {
        static_cast<void>(SetEvent(m_hEvent.Get())); // whoever waits goes on; there is nobody to tell of a failure
    }
    m_hEvent.Reset();
    m_pOverlapped.reset();
}

} // namespace RpcServer::SysInfo

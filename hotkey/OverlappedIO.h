// An OVERLAPPED record with its event, one of the handler's pool of seven. The handler owns the pool.
#pragma once

#include "shared/UniqueHandle.h"

#include <windows.h>

#include <memory>

namespace RpcServer::SysInfo
{

class COverlappedIO
{
  public:
    // Throws the last error as a DWORD when the record cannot be allocated; an event that cannot be made stays null.
    COverlappedIO();
    // Signals the event before it is closed.
    ~COverlappedIO();
    COverlappedIO(const COverlappedIO&) = delete;
    COverlappedIO& operator=(const COverlappedIO&) = delete;

  protected:
    std::unique_ptr<OVERLAPPED> m_pOverlapped;
    Quil::Shared::CUniqueHandle m_hEvent;
};

} // namespace RpcServer::SysInfo

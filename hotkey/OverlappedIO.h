/// \file
/// An OVERLAPPED record with its event, one of the handler's pool of seven. The handler owns the pool.
#pragma once

#include "shared/UniqueHandle.h"

#include <windows.h>

#include <memory>

namespace RpcServer::SysInfo
{

/// One record of the pool. No operation uses it.
class COverlappedIO
{
  public:
    /// Throws the last error as a DWORD when the record cannot be allocated; an event that cannot be made stays null.
    COverlappedIO();
    /// Signals the event before it is closed.
    ~COverlappedIO();
    COverlappedIO(const COverlappedIO&) = delete;
    COverlappedIO& operator=(const COverlappedIO&) = delete;

  protected:
    std::unique_ptr<OVERLAPPED> m_pOverlapped; ///< its hEvent is m_hEvent
    Quil::Shared::CUniqueHandle m_hEvent;      ///< manual reset, not signalled
};

} // namespace RpcServer::SysInfo

/// \file
/// Writes records to a UTF-8 file that all processes of the program share, directly or through a queue.
/// The file is `%APPDATA%\quilLog\<program>.log`; policy values MaxLogSize (kilobytes) and QueuedWrites. Reports no
/// errors: without a folder, a mutex or the file nothing is written.
#pragma once

#include "shared/LogFile.h"
#include "shared/LogListener.h"
#include "shared/LogQueue.h"

#include <memory>
#include <string>

namespace Quil::Shared
{

/// Output of type FileQueued or FileDirect. A direct write waits for the file's mutex.
class CqlLogListenerFile final : public CqlLogListener
{
  public:
    static constexpr DWORD kDefaultMaximumKilobytes = 2048; ///< without MaxLogSize

    /// The program's own log. queuedWrites and minimumLevel count unless the policy says otherwise. Throws
    /// std::bad_alloc.
    CqlLogListenerFile(bool queuedWrites, int minimumLevel);
    /// A log at a full path of the caller's, whose folder is made when it is missing.
    CqlLogListenerFile(bool queuedWrites, int minimumLevel, const std::wstring& path);

    void Write(const LogData& record) override;
    DWORD Type() const override;

  private:
    void Initialize(std::wstring path);

    bool m_bQueuedWrites;
    std::shared_ptr<CLogFile> m_pFile;
    std::unique_ptr<CLogQueue> m_pQueue; // in queued mode; ends before the file
};

} // namespace Quil::Shared

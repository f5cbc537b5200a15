/// \file
/// Records on their way to a log file: callers append and go on, a worker thread writes them. The worker exists only
/// while there is something to write.
#pragma once

#include "shared/LogFile.h"
#include "shared/LogListener.h"

#include <memory>

namespace Quil::Shared
{

/// The queue of one log file; its listener owns it.
class CLogQueue
{
  public:
    /// The file is shared with the worker, which may outlive the queue when it hangs in a write.
    explicit CLogQueue(std::shared_ptr<CLogFile> file);
    /// Waits at most about 1.2 s for the worker; what is queued then is lost.
    ~CLogQueue();
    CLogQueue(const CLogQueue&) = delete;
    CLogQueue& operator=(const CLogQueue&) = delete;

    /// Any thread. Appends a copy and never waits for the file. Throws std::bad_alloc.
    void Push(const CqlLogListener::LogData& record);

  private:
    struct State;

    const std::shared_ptr<State> m_pState;
};

} // namespace Quil::Shared

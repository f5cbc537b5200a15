// A text that requests on several threads read and replace: each takes or leaves a whole copy.
// The guard is held for the copy only, never while calling out.
#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace RpcServer
{

class CGuardedText
{
  public:
    std::wstring Get() const
    {
        const std::lock_guard guard{m_mutex};
        return m_strText;
    }
    void Set(std::wstring text)
    {
        const std::lock_guard guard{m_mutex};
        m_strText.swap(text);
    }

  private:
    mutable std::mutex m_mutex; // guards m_strText
    std::wstring m_strText;
};

} // namespace RpcServer

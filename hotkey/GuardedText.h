/// \file
/// A text that requests on several threads read and replace: each takes or leaves a whole copy.
/// The guard is held for the copy only, never while calling out.
#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace RpcServer
{

/// One text and its mutex.
class CGuardedText
{
  public:
    /// A copy of the text.
    std::wstring Get() const
    {
        const std::lock_guard guard{m_mutex};
        return m_strText;
    }
    /// Puts another text in place.
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

// Lets the calling thread act as the logged-on user, and ends that again.
// The hotkey handler owns one and renews it whenever a user logs on. Impersonation belongs to the thread: remove it on
// the thread that took it on.
#pragma once

namespace RpcServer::AppSection
{

class CAppActivationHandler
{
  public:
    CAppActivationHandler();
    // Always removes the impersonation of the calling thread.
    ~CAppActivationHandler();
    CAppActivationHandler(const CAppActivationHandler&) = delete;
    CAppActivationHandler& operator=(const CAppActivationHandler&) = delete;

    // False when a user is logged on and cannot be impersonated. With nobody logged on it is true and the thread goes
    // on as the service.
    bool ImpersonateUserLogOnSession();
    void RemoveImpersonation();

    bool IsImpersonating() const noexcept { return m_bImpersonating; }

  private:
    bool m_bImpersonating;
};

} // namespace RpcServer::AppSection

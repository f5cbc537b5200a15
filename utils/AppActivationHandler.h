/// \file
/// Lets the calling thread act as the logged-on user, and ends that again.
/// The hotkey handler owns one and renews it whenever a user logs on. Impersonation belongs to the thread: remove it on
/// the thread that took it on.
#pragma once

/// Acting as the logged-on user.
namespace RpcServer::AppSection
{

/// Impersonation of the user of the active session. Keeps no user: each call asks anew.
class CAppActivationHandler
{
  public:
    /// Impersonates nobody yet.
    CAppActivationHandler();
    /// Always removes the impersonation of the calling thread.
    ~CAppActivationHandler();
    CAppActivationHandler(const CAppActivationHandler&) = delete;
    CAppActivationHandler& operator=(const CAppActivationHandler&) = delete;

    /// False when a user is logged on and cannot be impersonated. With nobody logged on it is true and the thread goes
    /// on as the service.
    bool ImpersonateUserLogOnSession();
    /// Ends whatever impersonation the calling thread has.
    void RemoveImpersonation();

    /// True from a successful impersonation to its removal, on whatever thread.
    bool IsImpersonating() const noexcept { return m_bImpersonating; }

  private:
    bool m_bImpersonating;
};

} // namespace RpcServer::AppSection

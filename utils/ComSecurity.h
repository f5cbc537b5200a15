/// \file
/// Process-wide COM security: who may call into the process and how COM identifies callers by default.
/// The entry point calls InitializeSecurity once, on the main thread, before any other use of COM.
/// The helpers below it build the security descriptor; they return Win32 errors as HRESULT_FROM_WIN32.
#pragma once

#include <windows.h>

#include <memory>

namespace Utils
{

/// Admits LocalSystem, the Administrators and the Users. doCoUninit: leave the thread's apartment afterwards; the
/// security stays set. Returns the result of the last COM call, E_FAIL when memory ran out.
HRESULT InitializeSecurity(BYTE doCoUninit);

/// A block from the non-throwing heap that holds a SID or an ACL.
using CSecurityBlock = std::unique_ptr<BYTE[]>;

/// A security descriptor with the memory of its parts. The descriptor refers to them, so it neither moves nor copies.
class CComSecurityDescriptor
{
  public:
    CComSecurityDescriptor() noexcept = default;
    CComSecurityDescriptor(const CComSecurityDescriptor&) = delete;
    CComSecurityDescriptor& operator=(const CComSecurityDescriptor&) = delete;

    /// Empty: no owner, no group, no DACL.
    HRESULT Initialize() noexcept;
    /// Owner and group of the calling thread's token; of the process's token when the thread has none and
    /// revertToProcessToken is set.
    HRESULT InitializeFromThreadToken(bool revertToProcessToken) noexcept;
    /// Adds one allowed principal at the end of the DACL. On failure the DACL stays as it was.
    HRESULT Allow(PSID sid, DWORD accessMask) noexcept;

    /// The descriptor, good as long as this object.
    PSECURITY_DESCRIPTOR Get() noexcept { return &m_descriptor; }

  private:
    SECURITY_DESCRIPTOR m_descriptor{};
    CSecurityBlock m_pOwner;
    CSecurityBlock m_pGroup;
    CSecurityBlock m_pDacl;
};

/// Reads the user or the primary group of a token (TokenUser, TokenPrimaryGroup) into a new block.
HRESULT GetTokenSid(HANDLE token, TOKEN_INFORMATION_CLASS which, CSecurityBlock* sid) noexcept;

/// Copies a SID into a new block. E_POINTER without target, E_INVALIDARG for an invalid SID, E_OUTOFMEMORY.
HRESULT CopySidToBlock(PSID source, CSecurityBlock* target) noexcept;

/// Copies an ACL (null: none yet) into a new block with one access-allowed entry more at its end. E_INVALIDARG for an
/// invalid SID, E_OUTOFMEMORY.
HRESULT AddAccessAllowed(PACL oldAcl, DWORD accessMask, PSID sid, CSecurityBlock* newAcl) noexcept;

} // namespace Utils

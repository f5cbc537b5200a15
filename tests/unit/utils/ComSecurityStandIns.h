// What the tests of COM security share: descriptors in words, and replacements of the functions that they go through.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <sddl.h>

#include <string>
#include <vector>

namespace ComSecurityStandIns
{

inline const HANDLE kToken = reinterpret_cast<HANDLE>(0xA1A10);

inline std::string SidText(PSID sid)
{
    char* text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidA(sid, &text))
    {
        return "";
    }
    const std::string result{text};
    LocalFree(text);
    return result;
}

// What a security descriptor says, in text: entries as "type:flags:mask:sid".
struct DescriptorText
{
    std::string owner;
    std::string group;
    bool ownerDefaulted = true;
    bool groupDefaulted = true;
    bool daclPresent = false;
    bool daclDefaulted = true;
    int revision = 0;
    int aclRevision = 0;
    std::vector<std::string> entries;
};

inline std::vector<std::string> EntriesOf(PACL acl)
{
    std::vector<std::string> entries;
    for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i)
    {
        void* memory = nullptr;
        GetAce(acl, i, &memory);
        auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(memory);
        entries.push_back(std::to_string(entry->Header.AceType) + ":" + std::to_string(entry->Header.AceFlags) + ":" +
                          std::to_string(entry->Mask) + ":" + SidText(&entry->SidStart));
    }
    return entries;
}

inline DescriptorText Describe(PSECURITY_DESCRIPTOR descriptor)
{
    DescriptorText text;
    PSID sid = nullptr;
    BOOL defaulted = TRUE;
    BOOL present = FALSE;
    PACL acl = nullptr;
    GetSecurityDescriptorOwner(descriptor, &sid, &defaulted);
    text.owner = SidText(sid);
    text.ownerDefaulted = defaulted != FALSE;
    GetSecurityDescriptorGroup(descriptor, &sid, &defaulted);
    text.group = SidText(sid);
    text.groupDefaulted = defaulted != FALSE;
    if (GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted) && present)
    {
        text.daclPresent = true;
        text.daclDefaulted = defaulted != FALSE;
        text.aclRevision = acl != nullptr ? acl->AclRevision : 0;
        text.entries = EntriesOf(acl);
    }
    text.revision = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision;
    return text;
}

// A well-known SID in memory of its own.
class Sid
{
  public:
    explicit Sid(WELL_KNOWN_SID_TYPE type)
    {
        DWORD size = sizeof m_memory;
        CreateWellKnownSid(type, nullptr, m_memory, &size);
    }
    PSID Get() noexcept { return m_memory; }

  private:
    BYTE m_memory[SECURITY_MAX_SID_SIZE]{};
};

// CoInitializeSecurity that reads the descriptor instead of setting it.
inline auto Keeps(DescriptorText& text)
{
    return [&text](PSECURITY_DESCRIPTOR descriptor, auto...) {
        text = Describe(descriptor);
        return S_OK;
    };
}
inline auto FailsWith(DWORD error)
{
    return [error](auto...) {
        SetLastError(error);
        return FALSE;
    };
}

} // namespace ComSecurityStandIns

// Device nodes as [nodes] of the profile lists them: driver[, version], bare or absent.
#include "testbed/machine/Machine.h"

#include "testbed/Profile.h"
#include "testbed/Text.h"

#include <windows.h>

#include <algorithm>

namespace Testbed
{
namespace
{

constexpr wchar_t kSystemClass[] = L"{4d36e97d-e325-11ce-bfc1-08002be10318}";
// CR LF line ends as in every driver file.
constexpr wchar_t kDriverFile[] = L"[Version]\r\n"
                                  L"Signature=\"$Windows NT$\"\r\n"
                                  L"Class=System\r\n"
                                  L"ClassGuid={4d36e97d-e325-11ce-bfc1-08002be10318}\r\n"
                                  L"Provider=%Mfg%\r\n"
                                  L"DriverVer=03/05/2024,1.2.30.4\r\n"
                                  L"[Manufacturer]\r\n"
                                  L"%Mfg%=Models,NTamd64\r\n"
                                  L"[Models.NTamd64]\r\n"
                                  L"%Desc%=Install,@ID@\r\n"
                                  L"[Install.NT]\r\n"
                                  L"[Strings]\r\n"
                                  L"Mfg=\"Quil\"\r\n"
                                  L"Desc=\"Quil System Node\"\r\n";

std::wstring DriverPath(const std::wstring& id)
{
    std::wstring name = id;
    std::ranges::replace(name, L'\\', L'-');
    return L"C:\\windows\\inf\\testbed-" + name + L".inf";
}

bool WriteDriverFile(const std::wstring& id)
{
    std::wstring text = kDriverFile;
    text.replace(text.find(L"@ID@"), 4, id);
    const std::string bytes = Utf8FromWide(text);
    const HANDLE file =
        CreateFileW(DriverPath(id).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    const bool complete = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE;
    CloseHandle(file);
    return complete;
}

bool WriteNode(const std::wstring& key, const std::wstring& id)
{
    const std::wstring idList = id + L'\0';
    const std::wstring instance = key + L"\\0";
    const auto bytes = [](std::size_t characters) { return static_cast<DWORD>(characters * sizeof(wchar_t)); };
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, instance.c_str(), L"ClassGUID", REG_SZ, kSystemClass,
                           sizeof(kSystemClass)) == ERROR_SUCCESS &&
           RegSetKeyValueW(HKEY_LOCAL_MACHINE, instance.c_str(), L"HardwareID", REG_MULTI_SZ, idList.c_str(),
                           bytes(idList.size() + 1)) == ERROR_SUCCESS;
}

} // namespace

bool ApplyNodes(std::wstring& reason)
{
    for (const auto& [id, value] : ProfileEntries(L"nodes"))
    {
        const std::wstring_view state = Trimmed(std::wstring_view{value}.substr(0, value.find(L',')));
        const std::wstring key = L"SYSTEM\\CurrentControlSet\\Enum\\" + id;
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
        DeleteFileW(DriverPath(id).c_str());
        const bool driver = SameName(state, L"driver");
        if (((driver || SameName(state, L"bare")) && !WriteNode(key, id)) || (driver && !WriteDriverFile(id)))
        {
            reason = L"the node " + id + L" cannot be made";
            return false;
        }
    }
    return true;
}

} // namespace Testbed

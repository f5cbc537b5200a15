#include "client/PolicyValues.h"

#include <cstring>
#include <map>

namespace HotKey
{

std::vector<CPolicyValue> ReadPolicyValues()
{
    constexpr const wchar_t* kKeys[] = {L"Software\\Policies\\Quil\\Quil TLY Service",
                                        L"Software\\Policies\\Quil\\Quil TLY Service\\HotKeyServiceTLY"};
    constexpr const wchar_t* kNames[] = {L"LoggingType", L"MinLogLevel", L"MaxLogLevel", L"MaxLogSize",
                                         L"QueuedWrites"};
    std::vector<CPolicyValue> values;
    for (const wchar_t* const path : kKeys)
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        {
            continue;
        }
        for (const wchar_t* const name : kNames)
        {
            wchar_t data[512]{};
            DWORD size = sizeof data - sizeof(wchar_t);
            DWORD type = 0;
            if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size) != ERROR_SUCCESS)
            {
                continue;
            }
            CPolicyValue value{path, name, type, {}, 0};
            if (type == REG_SZ || type == REG_EXPAND_SZ)
            {
                value.strText = data;
            }
            else if (type == REG_DWORD && size == sizeof value.dwNumber)
            {
                std::memcpy(&value.dwNumber, data, sizeof value.dwNumber);
            }
            values.push_back(std::move(value));
        }
        RegCloseKey(key);
    }
    return values;
}

std::wstring PolicyInForce(const std::vector<CPolicyValue>& values)
{
    std::map<std::wstring, std::wstring> inForce;
    for (const CPolicyValue& value : values)
    {
        inForce[value.strName] = value.dwType == REG_DWORD ? std::to_wstring(value.dwNumber) : value.strText;
    }
    std::wstring text;
    for (const auto& [name, value] : inForce)
    {
        text += (text.empty() ? L"" : L", ") + name + L"=" + value;
    }
    return text.empty() ? L"none set" : text;
}

} // namespace HotKey

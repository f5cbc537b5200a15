#include "shared/LogPolicy.h"

#include "shared/LogLevel.h"
#include "shared/LogListener.h"

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>

namespace Quil::Shared
{

namespace
{

std::wstring ModulePath()
{
    wchar_t path[MAX_PATH]{};
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return {path, std::min<DWORD>(length, MAX_PATH - 1)};
}

std::wstring ProductNameOfProgram()
{
    const std::wstring path = ModulePath();
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    const std::unique_ptr<BYTE[]> block{size != 0 ? new (std::nothrow) BYTE[size] : nullptr};
    if (block == nullptr || !GetFileVersionInfoW(path.c_str(), 0, size, block.get()))
    {
        return {};
    }
    for (const wchar_t* const name :
         {L"\\StringFileInfo\\040904E4\\ProductName", L"\\StringFileInfo\\040904B0\\ProductName"})
    {
        void* value = nullptr;
        UINT length = 0;
        if (VerQueryValueW(block.get(), name, &value, &length) && value != nullptr && length != 0)
        {
            const auto* const text = static_cast<const wchar_t*>(value);
            return {text, wcsnlen(text, length)};
        }
    }
    return {};
}

// The bytes of a value of at most `limit` bytes, with its type; nothing when it cannot be read.
struct RawValue
{
    DWORD type;
    std::string bytes;
};

std::optional<RawValue> Read(const CUniqueRegistryKey& key, const wchar_t* name, DWORD limit)
{
    if (!key)
    {
        return std::nullopt;
    }
    RawValue value{0, std::string(limit, '\0')};
    DWORD size = limit;
    if (RegQueryValueExW(key.Get(), name, nullptr, &value.type, reinterpret_cast<BYTE*>(value.bytes.data()), &size) !=
        ERROR_SUCCESS)
    {
        return std::nullopt;
    }
    value.bytes.resize(size);
    return value;
}

// The text up to its first NUL; a stored text need not have one.
std::wstring TextOf(const RawValue& value)
{
    std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(wchar_t));
    text.resize(wcsnlen(text.data(), text.size()));
    return text;
}

// 0 for a value of fewer bytes.
DWORD NumberOf(const RawValue& value) noexcept
{
    DWORD number = 0;
    if (value.bytes.size() == sizeof number)
    {
        std::memcpy(&number, value.bytes.data(), sizeof number);
    }
    return number;
}

} // namespace

std::wstring ProgramBaseName()
{
    std::wstring name = ModulePath();
    name.resize(std::min(name.find_last_of(L'.'), name.size()));
    const std::size_t slash = name.find_last_of(L'\\');
    return slash == std::wstring::npos ? name : name.substr(slash + 1);
}

void OpenPolicyKeys(const wchar_t* productName, CUniqueRegistryKey& productKey, CUniqueRegistryKey& programKey)
{
    productKey.Reset();
    programKey.Reset();
    const std::wstring product = productName != nullptr && *productName != L'\0' ? productName : ProductNameOfProgram();
    if (product.empty())
    {
        return;
    }
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (L"Software\\Policies\\Quil\\" + product).c_str(), 0, KEY_READ, &key) !=
        ERROR_SUCCESS)
    {
        return;
    }
    productKey.Reset(key);
    key = nullptr;
    if (RegOpenKeyExW(productKey.Get(), ProgramBaseName().c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS)
    {
        programKey.Reset(key);
    }
}

CLogPolicy::CLogPolicy(const wchar_t* productName)
{
    OpenPolicyKeys(productName, m_productKey, m_programKey);
}

std::optional<int> CLogPolicy::Level(const wchar_t* valueName) const
{
    constexpr DWORD kLevelBytes = 256;
    for (const CUniqueRegistryKey* const key : {&m_programKey, &m_productKey})
    {
        const std::optional<RawValue> value = Read(*key, valueName, kLevelBytes);
        if (value && value->type == REG_SZ)
        {
            const std::wstring name = TextOf(*value);
            if (!name.empty())
            {
                return LogLevelFromName(name);
            }
        }
    }
    return std::nullopt;
}

std::optional<DWORD> CLogPolicy::Number(const wchar_t* valueName) const
{
    for (const CUniqueRegistryKey* const key : {&m_programKey, &m_productKey})
    {
        const std::optional<RawValue> value = Read(*key, valueName, sizeof(DWORD));
        if (value && value->type == REG_DWORD && NumberOf(*value) != 0)
        {
            return NumberOf(*value);
        }
    }
    return std::nullopt;
}

std::optional<bool> CLogPolicy::Flag(const wchar_t* valueName) const
{
    for (const CUniqueRegistryKey* const key : {&m_programKey, &m_productKey})
    {
        const std::optional<RawValue> value = Read(*key, valueName, sizeof(DWORD));
        if (value && value->bytes.size() == sizeof(DWORD))
        {
            return NumberOf(*value) != 0;
        }
    }
    return std::nullopt;
}

DWORD CLogPolicy::ListenerMask() const
{
    constexpr DWORD kTypeBytes = 128;
    std::optional<RawValue> value = Read(m_programKey, L"LoggingType", kTypeBytes);
    if (!value)
    {
        value = Read(m_productKey, L"LoggingType", kTypeBytes);
    }
    if (!value)
    {
        return 0;
    }
    // Any text may stand between the words, and the registry type does not matter.
    std::wstring text = TextOf(*value);
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return static_cast<wchar_t>(towupper(c)); });
    DWORD mask = 0;
    const auto add = [&](const wchar_t* word, DWORD bit) {
        if (text.find(word) != std::wstring::npos)
        {
            mask |= bit;
        }
    };
    add(L"EVENT", CqlLogListener::EventLog);
    add(L"FILE", CqlLogListener::FileDirect);
    add(L"CONSOLE", CqlLogListener::Console);
    add(L"DEBUG", CqlLogListener::Debugger);
    return mask;
}

} // namespace Quil::Shared

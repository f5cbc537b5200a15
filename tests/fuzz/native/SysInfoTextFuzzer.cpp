// The rules of the system-information text, each beside a second, slower way to the same result.
#include "FuzzInput.h"
#include "client/FieldText.h"
#include "client/SysInfoFields.h"
#include "sysinfo/ModelTables.h"
#include "sysinfo/SysInfoText.h"

#include <array>

namespace
{

bool IsWord(wchar_t c)
{
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_';
}

bool LooksLikeFactoryBuild(std::wstring_view text)
{
    const auto words = [&text] {
        std::size_t count = 0;
        for (; !text.empty() && IsWord(text.front()); text.remove_prefix(1))
        {
            ++count;
        }
        return count;
    };
    const auto mark = [&text] {
        const bool found = text.starts_with(L'#');
        text.remove_prefix(found ? 1 : 0);
        return found;
    };
    return words() >= 10 && mark() && words() == 4 && mark() && words() == 4 && (text.empty() || text == L";");
}

void Codes(const std::wstring& text)
{
    const std::wstring option{RpcServer::OptionCode(text)};
    const std::size_t mark = text.find(L'#');
    HOLDS(option == (mark == std::wstring::npos ? text : text.substr(mark + 1)));

    const std::wstring family{RpcServer::FamilyCode(text)};
    const std::size_t blank = text.find(L' ');
    HOLDS(family.size() <= 2);
    HOLDS(blank != std::wstring::npos ? text.substr(0, blank).ends_with(family) : family.empty());
    HOLDS(blank == std::wstring::npos || family.size() == std::min<std::size_t>(blank, 2));

    const bool listed = RpcServer::IsListed(text, RpcServer::kSkuOptionCodes);
    HOLDS(!listed || text.size() == 3);
    std::wstring upper = text;
    for (wchar_t& c : upper)
    {
        c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
    }
    HOLDS(listed == (std::find(RpcServer::kSkuOptionCodes.begin(), RpcServer::kSkuOptionCodes.end(), upper) !=
                     RpcServer::kSkuOptionCodes.end()));
}

void OemFields(const std::wstring& text, const std::wstring& tag)
{
    const auto field = RpcServer::FindOemField(text, tag);
    HOLDS(field.has_value() == (text.find(tag) != std::wstring::npos));
    if (field)
    {
        HOLDS(field->text.find(L';') == std::wstring_view::npos);
        const std::wstring whole = tag + std::wstring{field->text} + (field->delimited ? L";" : L"");
        HOLDS(text.find(whole) == text.find(tag));
        HOLDS(field->delimited || text.ends_with(whole));
    }
}

void Memory(std::int64_t installed, std::int64_t usable)
{
    char narrow[160];
    if (usable >= 1024)
    {
        std::snprintf(narrow, sizeof narrow, "%.2f GB (%.2f GB usable)", static_cast<double>(installed) / 1024,
                      static_cast<double>(usable) / 1024);
    }
    else
    {
        std::snprintf(narrow, sizeof narrow, "%lld MB (%lld MB usable)", static_cast<long long>(installed),
                      static_cast<long long>(usable));
    }
    const std::wstring text = RpcServer::MemoryText(installed, usable);
    HOLDS(std::string(text.begin(), text.end()) == narrow);

    __int128 exact = static_cast<__int128>(installed) + usable;
    HOLDS(static_cast<std::uint64_t>(RpcServer::WrappingSum(installed, usable)) == static_cast<std::uint64_t>(exact));
}

// What is written is read again, field by field.
void Line(CFuzzInput& input)
{
    std::array<std::wstring, 10> fields;
    std::array<std::wstring*, 10> pointers{};
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        fields[i] = input.WideText();
        pointers[i] = &fields[i];
    }
    fields[9] = input.Byte() % 2 != 0 ? L"0x21" : L"0x0";
    const auto before = fields;
    const std::wstring text = RpcServer::JoinFields(pointers);
    bool plain = true;
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        HOLDS(fields[i] == (before[i].empty() ? L"null" : before[i]));
        plain = plain && fields[i].find_first_of(L"<>") == std::wstring::npos;
    }
    if (plain)
    {
        const auto read = HotKey::ParseSysInfo(text + L"<.^.>yes");
        HOLDS(read);
        const HotKey::CSysInfo& info = read.Value();
        HOLDS(info.strProductName == fields[0] && info.strSku == fields[1] && info.strBuild == fields[2]);
        HOLDS(info.strMemory == fields[3] && info.strProcessor == fields[4] && info.strBiosVersion == fields[5]);
        HOLDS(info.strBaseBoardVersion == fields[6] && info.strSerialNumber == fields[7]);
        HOLDS(info.strFeatureByte == fields[8] && info.strBiosPasswordStatus == fields[9] && info.bUsbTypeC);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const auto installed = input.Take<std::int64_t>();
    const auto usable = static_cast<std::int64_t>(input.Take<std::int32_t>());
    Memory(installed, usable);
    Memory(usable, installed);

    const std::wstring text = input.WideText();
    Codes(text);
    HOLDS(RpcServer::IsFactoryBuild(text) == LooksLikeFactoryBuild(text));
    // A number's text gives the number.
    HOLDS(RpcServer::LeadingNumber(std::to_wstring(installed) + L" " + text) == installed);
    OemFields(text, input.WideText());
    Line(input);
    return 0;
}

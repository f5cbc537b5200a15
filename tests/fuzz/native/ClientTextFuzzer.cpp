// The client's parsers on any text: what is accepted is exactly what the service writes, so it can be written again.
#include "FuzzInput.h"
#include "client/FieldText.h"
#include "client/SysInfoFields.h"
#include "client/UsbTypeCFields.h"

namespace
{

template <typename Record> void IsOneLineOfTrouble(const HotKey::CResult<Record>& result)
{
    HOLDS(result.Error().eKind == HotKey::ErrorKind::NotUnderstood);
    HOLDS(result.Error().ulStatus == 0);
    HOLDS(!result.Error().strText.empty());
}

void Split(const std::wstring& text, std::wstring_view separator)
{
    std::wstring again;
    bool first = true;
    for (const std::wstring_view field : HotKey::SplitText(text, separator))
    {
        HOLDS(field.find(separator) == std::wstring_view::npos);
        again += first ? L"" : std::wstring{separator};
        again += field;
        first = false;
    }
    HOLDS(again == text);
}

void ReadSysInfo(const std::wstring& text)
{
    const auto result = HotKey::ParseSysInfo(text);
    if (!result)
    {
        IsOneLineOfTrouble(result);
        return;
    }
    const HotKey::CSysInfo& info = result.Value();
    std::wstring again;
    for (const std::wstring* field :
         {&info.strProductName, &info.strSku, &info.strBuild, &info.strMemory, &info.strProcessor, &info.strBiosVersion,
          &info.strBaseBoardVersion, &info.strSerialNumber, &info.strFeatureByte})
    {
        HOLDS(!field->empty());
        again += *field + L"<.^.>";
    }
    char status[8];
    std::snprintf(status, sizeof status, "0x%X", info.ucBiosPasswordStatus);
    again += std::wstring(status, status + std::strlen(status)) + (info.bUsbTypeC ? L"<.^.>yes" : L"<.^.>0x0");
    HOLDS(again == text);
}

void ReadUsbTypeC(const std::wstring& text)
{
    const auto result = HotKey::ParseUsbTypeC(text);
    if (!result)
    {
        IsOneLineOfTrouble(result);
        return;
    }
    const HotKey::CUsbTypeC& record = result.Value();
    std::wstring again = record.bUsb20 ? L"USB 2.0" : L"";
    again += record.bUsb31Gen2 ? L"|.#.$USB 3.1 Gen 2" : L"|.#.$USB 3.1 Gen 1";
    for (const bool supported :
         {record.bThunderbolt, record.bDisplayPort, record.bDownstreamPowerDelivery, record.bUpstreamPowerDelivery})
    {
        again += supported ? L"<.^.>Supported" : L"<.^.>Not Supported";
    }
    again += L"<.^.>" + std::to_wstring(record.nMaximumWatts) + L"W";
    HOLDS(again == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzInput input{data, size};
    const std::wstring text = input.WideText();
    Split(text, HotKey::kFieldSeparator);
    Split(text, HotKey::kDeviceSeparator);
    ReadSysInfo(text);
    ReadUsbTypeC(text);
    return 0;
}

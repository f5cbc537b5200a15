#include "client/CtlText.h"

#include "client/CtlOutput.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace
{

using Json = nlohmann::ordered_json;

std::wstring JsonText(const Json& object)
{
    return HotKey::FromUtf8(object.dump()) + L"\n";
}

std::wstring YesNo(bool value)
{
    return value ? L"yes" : L"no";
}

std::wstring Supported(bool value)
{
    return value ? L"supported" : L"not supported";
}

// Two decimals are plenty for a round trip.
std::wstring Milliseconds(double value)
{
    const auto hundredths = std::llround(value * 100);
    const std::wstring rest = std::to_wstring(hundredths % 100);
    return std::to_wstring(hundredths / 100) + (rest.size() == 1 ? L".0" : L".") + rest + L" ms";
}

} // namespace

namespace HotKey
{

std::wstring Table(const std::vector<std::pair<std::wstring, std::wstring>>& rows)
{
    std::size_t width = 0;
    for (const auto& [label, value] : rows)
    {
        width = std::max(width, label.size());
    }
    std::wstring text;
    for (const auto& [label, value] : rows)
    {
        text += label + L":" + std::wstring(width - label.size() + 1, L' ') + value + L"\n";
    }
    return text;
}

std::wstring SysInfoTable(const CSysInfo& info)
{
    return Table({{L"Product name", info.strProductName},
                  {L"SKU", info.strSku},
                  {L"Build", info.strBuild},
                  {L"Memory", info.strMemory},
                  {L"Processor", info.strProcessor},
                  {L"BIOS version", info.strBiosVersion},
                  {L"Base board version", info.strBaseBoardVersion},
                  {L"Serial number", info.strSerialNumber},
                  {L"Feature byte", info.strFeatureByte},
                  {L"BIOS password status", info.strBiosPasswordStatus},
                  {L"USB Type-C", YesNo(info.bUsbTypeC)}});
}

std::wstring SysInfoJson(const CSysInfo& info)
{
    return JsonText(Json{{"productName", ToUtf8(info.strProductName)},
                         {"sku", ToUtf8(info.strSku)},
                         {"build", ToUtf8(info.strBuild)},
                         {"memory", ToUtf8(info.strMemory)},
                         {"processor", ToUtf8(info.strProcessor)},
                         {"biosVersion", ToUtf8(info.strBiosVersion)},
                         {"baseBoardVersion", ToUtf8(info.strBaseBoardVersion)},
                         {"serialNumber", ToUtf8(info.strSerialNumber)},
                         {"featureByte", ToUtf8(info.strFeatureByte)},
                         {"biosPasswordStatus", ToUtf8(info.strBiosPasswordStatus)},
                         {"usbTypeC", info.bUsbTypeC}});
}

std::wstring UsbTypeCTable(const CUsbTypeC& info)
{
    return Table({{L"USB 2.0", Supported(info.bUsb20)},
                  {L"USB 3.1", info.bUsb31Gen2 ? L"Gen 2" : L"Gen 1"},
                  {L"Thunderbolt", Supported(info.bThunderbolt)},
                  {L"DisplayPort", Supported(info.bDisplayPort)},
                  {L"Downstream power delivery", Supported(info.bDownstreamPowerDelivery)},
                  {L"Upstream power delivery", Supported(info.bUpstreamPowerDelivery)},
                  {L"Maximum power", std::to_wstring(info.nMaximumWatts) + L" W"}});
}

std::wstring UsbTypeCJson(const CUsbTypeC& info)
{
    return JsonText(Json{{"usb20", info.bUsb20},
                         {"usb31Generation", info.bUsb31Gen2 ? 2 : 1},
                         {"thunderbolt", info.bThunderbolt},
                         {"displayPort", info.bDisplayPort},
                         {"downstreamPowerDelivery", info.bDownstreamPowerDelivery},
                         {"upstreamPowerDelivery", info.bUpstreamPowerDelivery},
                         {"maximumWatts", info.nMaximumWatts}});
}

std::wstring PresenceTable(const CPresence& presence)
{
    return Table({{L"Fennix service installed", YesNo(presence.bFennixService)},
                  {L"Fennix node present", YesNo(presence.bFennixNode)}});
}

std::wstring PresenceJson(const CPresence& presence)
{
    return JsonText(
        Json{{"fennixServiceInstalled", presence.bFennixService}, {"fennixNodePresent", presence.bFennixNode}});
}

std::wstring StatusTable(const CStatus& status)
{
    std::wstring service = status.service.strState;
    if (status.service.dwProcessId != 0)
    {
        service += L" (process " + std::to_wstring(status.service.dwProcessId) + L")";
    }
    std::vector<std::pair<std::wstring, std::wstring>> rows{{L"Client", status.strClientVersion},
                                                            {L"Service", service}};
    if (!status.service.strProgram.empty())
    {
        rows.emplace_back(L"Program", status.service.strProgram);
    }
    if (!status.service.strVersion.empty())
    {
        rows.emplace_back(L"Version", status.service.strVersion);
    }
    rows.emplace_back(L"Endpoint", status.bAnswers ? L"answers, connected in " + Milliseconds(status.dMilliseconds)
                                                   : L"no answer: " + status.strTrouble);
    rows.emplace_back(L"Log", status.strLog);
    rows.emplace_back(L"Policy", status.strPolicy);
    return Table(rows);
}

std::wstring StatusJson(const CStatus& status)
{
    Json object{{"clientVersion", ToUtf8(status.strClientVersion)}, {"service", ToUtf8(status.service.strState)},
                {"processId", status.service.dwProcessId},          {"program", ToUtf8(status.service.strProgram)},
                {"version", ToUtf8(status.service.strVersion)},     {"answers", status.bAnswers}};
    if (status.bAnswers)
    {
        object["connectMilliseconds"] = status.dMilliseconds;
    }
    else
    {
        object["trouble"] = ToUtf8(status.strTrouble);
    }
    object["log"] = ToUtf8(status.strLog);
    object["policy"] = ToUtf8(status.strPolicy);
    return JsonText(object);
}

} // namespace HotKey

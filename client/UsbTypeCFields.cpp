#include "client/UsbTypeCFields.h"

#include "client/FieldText.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace
{

constexpr const wchar_t* kSupportFields[]{L"Thunderbolt", L"DisplayPort", L"downstream power delivery",
                                          L"upstream power delivery"};

// A decimal number without leading zeros, then "W".
bool Watts(std::wstring_view text, std::int32_t* watts)
{
    if (!text.ends_with(L'W'))
    {
        return false;
    }
    text.remove_suffix(1);
    const bool negative = text.starts_with(L'-');
    if (negative)
    {
        text.remove_prefix(1);
    }
    if (text.empty() || text.size() > 10 || (text[0] == L'0' && (text.size() > 1 || negative)))
    {
        return false;
    }
    std::int64_t value = 0;
    for (const wchar_t c : text)
    {
        if (c < L'0' || c > L'9')
        {
            return false;
        }
        value = value * 10 + (c - L'0');
    }
    value = negative ? -value : value;
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max())
    {
        return false;
    }
    *watts = static_cast<std::int32_t>(value);
    return true;
}

std::wstring Quoted(std::wstring_view text)
{
    return L": \"" + std::wstring{text} + L"\"";
}

} // namespace

HotKey::CResult<HotKey::CUsbTypeC> HotKey::ParseUsbTypeC(std::wstring_view text)
{
    const std::vector<std::wstring_view> fields = SplitText(text, kFieldSeparator);
    if (fields.size() != 6)
    {
        return NotUnderstood(L"the USB Type-C text has " + std::to_wstring(fields.size()) + L" fields instead of 6");
    }
    const std::vector<std::wstring_view> devices = SplitText(fields[0], kDeviceSeparator);
    if (devices.size() != 2)
    {
        return NotUnderstood(L"the device list of the USB Type-C text has " + std::to_wstring(devices.size()) +
                             L" entries instead of 2");
    }
    if (!devices[0].empty() && devices[0] != L"USB 2.0")
    {
        return NotUnderstood(L"unknown first device in the USB Type-C text" + Quoted(devices[0]));
    }
    if (devices[1] != L"USB 3.1 Gen 1" && devices[1] != L"USB 3.1 Gen 2")
    {
        return NotUnderstood(L"unknown second device in the USB Type-C text" + Quoted(devices[1]));
    }
    for (std::size_t i = 0; i < 4; ++i)
    {
        if (fields[i + 1] != L"Supported" && fields[i + 1] != L"Not Supported")
        {
            return NotUnderstood(std::wstring{L"unknown "} + kSupportFields[i] + L" support in the USB Type-C text" +
                                 Quoted(fields[i + 1]));
        }
    }

    CUsbTypeC record{};
    if (!Watts(fields[5], &record.nMaximumWatts))
    {
        return NotUnderstood(L"unknown power in the USB Type-C text" + Quoted(fields[5]));
    }
    record.bUsb20 = !devices[0].empty();
    record.bUsb31Gen2 = devices[1] == L"USB 3.1 Gen 2";
    record.bThunderbolt = fields[1] == L"Supported";
    record.bDisplayPort = fields[2] == L"Supported";
    record.bDownstreamPowerDelivery = fields[3] == L"Supported";
    record.bUpstreamPowerDelivery = fields[4] == L"Supported";
    return record;
}

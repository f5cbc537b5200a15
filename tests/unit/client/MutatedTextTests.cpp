// Mutated texts of the service: whatever a parser accepts, a renderer of its own makes again, character by character.
#include "client/SysInfoFields.h"
#include "client/UsbTypeCFields.h"

#include <gtest/gtest.h>

#include <array>
#include <cwchar>
#include <random>
#include <string>

namespace
{

constexpr int kTexts = 50000; // for each of the two parsers

constexpr std::array kSysInfoTexts{
    L"Laptop 14 Model A<.^.>7XY45AV#AKL<.^.>20WWABCD601#S001#D001<.^.>16.00 GB (15.84 GB usable)<.^.>12th Gen "
    L"Processor<.^.>A01 Ver. 01.02.03 - 05/16/2023<.^.>KBC Version 11.22.00<.^.>SN12345678<.^.>3X7<.^.>0x21<.^.>0x0",
    L"1<.^.>2<.^.>3<.^.>4<.^.>5<.^.>6<.^.>7<.^.>8<.^.>null<.^.>0xFF<.^.>yes",
};
constexpr std::array kUsbTypeCTexts{
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>65W",
    L"|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>-7W",
};
constexpr std::array kPieces{L"<.^.>", L"|.#.$", L"Supported", L"Not ", L"USB 2.0", L"0", L"-", L"W",
                             L"0x",    L"F",     L"a",         L"yes",  L" ",       L"1", L"2", L"\xD800"};

// One or two changes: a piece put in, a range taken out, or a character replaced.
std::wstring Mutate(std::wstring text, std::mt19937& random)
{
    for (auto changes = 1 + random() % 2; changes > 0; --changes)
    {
        const std::size_t at = random() % (text.size() + 1);
        switch (random() % 3)
        {
        case 0:
            text.insert(at, kPieces[random() % kPieces.size()]);
            break;
        case 1:
            text.erase(at, 1 + random() % 6);
            break;
        default:
            text.replace(at, 1, 1, static_cast<wchar_t>(random() % 128));
            break;
        }
    }
    return text;
}

std::wstring Rendered(const HotKey::CSysInfo& info)
{
    std::wstring text;
    for (const std::wstring* const field :
         {&info.strProductName, &info.strSku, &info.strBuild, &info.strMemory, &info.strProcessor, &info.strBiosVersion,
          &info.strBaseBoardVersion, &info.strSerialNumber, &info.strFeatureByte})
    {
        text += (field->empty() ? L"(empty)" : *field) + L"<.^.>";
    }
    wchar_t status[8]{};
    std::swprintf(status, std::size(status), L"0x%X", static_cast<unsigned>(info.ucBiosPasswordStatus));
    return text + status + L"<.^.>" + (info.bUsbTypeC ? L"yes" : L"0x0");
}

std::wstring Rendered(const HotKey::CUsbTypeC& info)
{
    std::wstring text = info.bUsb20 ? L"USB 2.0|.#.$" : L"|.#.$";
    text += info.bUsb31Gen2 ? L"USB 3.1 Gen 2" : L"USB 3.1 Gen 1";
    for (const bool supported :
         {info.bThunderbolt, info.bDisplayPort, info.bDownstreamPowerDelivery, info.bUpstreamPowerDelivery})
    {
        text += supported ? L"<.^.>Supported" : L"<.^.>Not Supported";
    }
    return text + L"<.^.>" + std::to_wstring(info.nMaximumWatts) + L"W";
}

// How many of the texts were accepted.
template <typename Texts, typename Parser> int AcceptedTexts(const Texts& texts, const Parser& parse)
{
    std::mt19937 random{20240305};
    int accepted = 0;
    for (int i = 0; i < kTexts; ++i)
    {
        const std::wstring text = Mutate(texts[random() % texts.size()], random);
        if (const auto info = parse(text))
        {
            ++accepted;
            EXPECT_EQ(text, Rendered(info.Value()));
        }
    }
    return accepted;
}

} // namespace

TEST(MutatedTexts, SysInfoThatIsAcceptedIsWhatTheServiceWrites)
{
    const int accepted =
        AcceptedTexts(kSysInfoTexts, [](const std::wstring& text) { return HotKey::ParseSysInfo(text); });

    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, kTexts);
}

TEST(MutatedTexts, UsbTypeCThatIsAcceptedIsWhatTheServiceWrites)
{
    const int accepted =
        AcceptedTexts(kUsbTypeCTexts, [](const std::wstring& text) { return HotKey::ParseUsbTypeC(text); });

    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, kTexts);
}

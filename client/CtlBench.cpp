#include "client/CtlBench.h"

#include "client/CtlCommands.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace HotKey
{

namespace
{

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

struct COperation
{
    const wchar_t* pName;
    std::function<std::optional<CError>()> call;
};

template <typename Answer> std::optional<CError> ErrorOf(const CResult<Answer>& result)
{
    return result ? std::nullopt : std::optional<CError>{result.Error()};
}

// In whole microseconds.
struct CFigures
{
    std::size_t nCalls;
    long long llPerSecond;
    long long llMedian;
    long long ll95;
    long long ll99;
    long long llSlowest;
};

CFigures Summarise(std::vector<double> microseconds)
{
    std::sort(microseconds.begin(), microseconds.end());
    double total = 0;
    for (const double value : microseconds)
    {
        total += value;
    }
    const auto at = [&](double share) {
        const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(microseconds.size())));
        return std::llround(microseconds[std::max<std::size_t>(rank, 1) - 1]);
    };
    const double perSecond = total > 0 ? static_cast<double>(microseconds.size()) * 1e6 / total : 0;
    return {microseconds.size(), std::llround(perSecond), at(0.5), at(0.95), at(0.99), at(1)};
}

std::wstring Padded(const std::wstring& text, std::size_t width)
{
    return text.size() < width ? std::wstring(width - text.size(), L' ') + text : text;
}

std::wstring Line(const wchar_t* name, const CFigures& figures)
{
    std::wstring line = name;
    line.resize(std::max<std::size_t>(line.size(), 22), L' ');
    for (const long long value : {static_cast<long long>(figures.nCalls), figures.llPerSecond, figures.llMedian,
                                  figures.ll95, figures.ll99, figures.llSlowest})
    {
        line += Padded(std::to_wstring(value), 11);
    }
    return line + L"\n";
}

} // namespace

int RunBench(CHotKeyClient& client, const CCtlOutput& output, const CBenchRequest& request)
{
    const COperation operations[] = {
        {L"connect and disconnect",
         [&] {
             auto error = ErrorOf(client.Connect());
             client.Disconnect();
             return error;
         }},
        {L"framework service", [&] { return ErrorOf(client.IsFennixServiceInstalled()); }},
        {L"framework node", [&] { return ErrorOf(client.IsFennixNodePresent()); }},
        {L"system information", [&] { return ErrorOf(client.ReadSysInfoText()); }},
        {L"USB Type-C", [&] { return ErrorOf(client.ReadUsbTypeCText()); }},
    };
    // The service reads the firmware at the first question only: that is not what is measured.
    if (const auto error = ErrorOf(client.ReadSysInfoText()))
    {
        output.Complain(ErrorLine(*error));
        return ExitCodeOf(error->eKind);
    }
    Json list = Json::array();
    if (!request.bJson)
    {
        output.Print(L"operation                   calls   calls/s  median us    95 % us    99 % us slowest us\n");
    }
    for (const COperation& operation : operations)
    {
        std::vector<double> microseconds;
        const auto begin = Clock::now();
        // One call at least, however short the time.
        while (microseconds.empty() ||
               (microseconds.size() < request.nCalls && Clock::now() - begin < request.patience))
        {
            const auto start = Clock::now();
            if (const auto error = operation.call())
            {
                output.Complain(std::wstring{operation.pName} + L": " + ErrorLine(*error));
                return ExitCodeOf(error->eKind);
            }
            microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
        const CFigures figures = Summarise(std::move(microseconds));
        if (request.bJson)
        {
            list.push_back({{"operation", ToUtf8(operation.pName)},
                            {"calls", figures.nCalls},
                            {"callsPerSecond", figures.llPerSecond},
                            {"medianMicroseconds", figures.llMedian},
                            {"percentile95Microseconds", figures.ll95},
                            {"percentile99Microseconds", figures.ll99},
                            {"slowestMicroseconds", figures.llSlowest}});
        }
        else
        {
            output.Print(Line(operation.pName, figures));
        }
    }
    if (request.bJson)
    {
        output.Print(FromUtf8(Json{{"operations", list}}.dump()) + L"\n");
    }
    return ExitAnswered;
}

} // namespace HotKey

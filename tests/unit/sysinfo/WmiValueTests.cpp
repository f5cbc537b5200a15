// Reading one property: what comes back, how often it is tried, how long is waited, what the log says.
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <optional>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::StartsWith;

namespace
{

class GetBIOSValue : public testing::Test
{
  protected:
    ~GetBIOSValue() override
    {
        if (m_row != nullptr)
        {
            m_row->Release();
        }
    }

    // One row whose property "P" gives these answers.
    void Answers(std::vector<FakeAnswer> answers)
    {
        m_row = wmi.NewRow({{L"P", std::move(answers)}});
        wmi.noteInLog = true;
        log.Clear();
    }
    HRESULT Number(DWORD& value) { return reader.GetBIOSValue(m_row, L"P", &value); }
    HRESULT String(std::wstring& value, bool retry) { return reader.GetBIOSValue(m_row, L"P", value, retry); }

    // The records without the first, whose pointer differs from run to run.
    std::vector<std::wstring> LinesAfterEntry() const
    {
        std::vector<std::wstring> lines = log.Lines();
        lines.erase(lines.begin());
        return lines;
    }
    DWORD TotalWait() const { return std::accumulate(wmi.waits.begin(), wmi.waits.end(), DWORD{0}); }

    FakeWmi wmi;
    Reader reader;
    LogCapture log;
    IWbemClassObject* m_row{nullptr};
};

#define EXPECT_LINES_AFTER_ENTRY(...)                                                                                  \
    EXPECT_THAT(LinesAfterEntry(), ElementsAreArray(std::vector<std::wstring>{__VA_ARGS__}))

} // namespace

TEST_F(GetBIOSValue, NumberIsReadAtOnce)
{
    Answers({::Number(VT_I4, 7)});
    DWORD value = 99;

    EXPECT_EQ(S_OK, Number(value));

    EXPECT_EQ(7u, value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Information|The value is 7", L"TraceOut|Return Value = 0x0");
}

TEST_F(GetBIOSValue, EntryRecordsShowObjectPropertyAndFlag)
{
    Answers({Text(L"x")});
    const auto low = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(m_row));
    DWORD number = 0;
    std::wstring text;

    EXPECT_EQ(S_OK, Number(number));
    EXPECT_EQ(S_OK, String(text, true));
    EXPECT_EQ(S_OK, String(text, false));

    std::vector<std::wstring> entries;
    for (const LogRecord& record : log.Records())
    {
        if (record.level == 0)
        {
            EXPECT_EQ("RpcServer::WMIData::GetBIOSValue", record.function);
            entries.push_back(record.message);
        }
    }
    wchar_t pointer[16];
    _snwprintf(pointer, 16, L"0x%x", low);
    const std::wstring object = std::wstring{L"IWbemClassObject = "} + pointer;
    EXPECT_THAT(entries, ElementsAre(object + L", strData = P", object + L", strData = P, Retry = 1",
                                     object + L", strData = P, Retry = 0"));
}

TEST_F(GetBIOSValue, EveryTypeLandsAsItsLow32Bits)
{
    struct Case
    {
        VARTYPE type;
        long number;
        DWORD expected;
    };
    for (const Case& sample : {Case{VT_I4, -1, 0xFFFFFFFF}, Case{VT_UI4, 5, 5}, Case{VT_BOOL, VARIANT_TRUE, 0xFFFF},
                               Case{VT_BOOL, VARIANT_FALSE, 0}, Case{VT_UI1, 1, 1}, Case{VT_NULL, 0, 0}})
    {
        IWbemClassObject* const row = wmi.NewRow({{L"P", {::Number(sample.type, sample.number)}}});
        DWORD value = 99;
        EXPECT_EQ(S_OK, reader.GetBIOSValue(row, L"P", &value));
        EXPECT_EQ(sample.expected, value) << "type " << sample.type;
        row->Release();
    }
}

TEST_F(GetBIOSValue, FailingNumberIsTriedSixTimesAndLeftUntouched)
{
    Answers({Failure(WBEM_E_NOT_FOUND)});
    DWORD value = 99;

    EXPECT_EQ(WBEM_E_NOT_FOUND, Number(value));

    EXPECT_EQ(99u, value);
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
    EXPECT_EQ(3600u, TotalWait());
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 0. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 1. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 2. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 3. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 4. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 5. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|sleep 3000", L"TraceOut|Return Value = 0x80041002");
}

TEST_F(GetBIOSValue, NumberOfTheSixthAttemptStillCounts)
{
    Answers({Failure(E_FAIL), Failure(E_FAIL), Failure(E_FAIL), Failure(E_FAIL), Failure(E_FAIL), ::Number(VT_I4, 3)});
    DWORD value = 99;

    EXPECT_EQ(S_OK, Number(value));

    EXPECT_EQ(3u, value);
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u));
}

TEST_F(GetBIOSValue, ExceptionWaitsLongAndTriesAgain)
{
    Answers({Throws(E_OUTOFMEMORY), ::Number(VT_I4, 3)});
    DWORD value = 99;

    EXPECT_EQ(S_OK, Number(value));

    EXPECT_EQ(3u, value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Exception while getting BIOS with error 0x8007000E", L"Verbose|sleep 3000",
                             L"Verbose|Inside while", L"Verbose|get P", L"Information|The value is 3",
                             L"TraceOut|Return Value = 0x0");
}

TEST_F(GetBIOSValue, ExceptionsOfANumberEndAfterFourLongWaits)
{
    Answers({Throws(E_ABORT)});
    DWORD value = 99;

    EXPECT_EQ(E_ABORT, Number(value));

    EXPECT_EQ(99u, value);
    EXPECT_THAT(wmi.waits, ElementsAre(3000u, 3000u, 3000u, 3000u));
    EXPECT_EQ(L"TraceOut|Return Value = 0x80004004", log.Lines().back());
}

TEST_F(GetBIOSValue, ExceptionWithoutErrorEndsAtOnce)
{
    Answers({Throws(S_OK)});
    DWORD value = 99;

    EXPECT_EQ(S_OK, Number(value));

    EXPECT_EQ(99u, value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Exception while getting BIOS with error 0x00000000", L"Verbose|sleep 3000",
                             L"TraceOut|Return Value = 0x0");
}

TEST_F(GetBIOSValue, FailuresAfterAnExceptionCostBothWaitsEach)
{
    Answers({Throws(E_ABORT), Failure(E_FAIL)});
    DWORD value = 99;

    EXPECT_EQ(E_FAIL, Number(value));

    // One long wait for the exception, six quick attempts, then one attempt for each further long wait.
    EXPECT_THAT(wmi.waits, ElementsAre(3000u, 100u, 100u, 100u, 100u, 100u, 100u, 3000u, 100u, 3000u, 100u, 3000u));
    EXPECT_THAT(log.Lines(),
                testing::Contains(L"Error|Failed to get value of P at count 7. Error = 0x80004005. Re-trying..."));
}

TEST_F(GetBIOSValue, TextIsReadAtOnce)
{
    Answers({Text(L"7XY45AV#AKL")});
    std::wstring value{L"old"};

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(L"7XY45AV#AKL", value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Verbose|The value is 7XY45AV#AKL", L"TraceOut|Return Value hr = 0x0");
}

TEST_F(GetBIOSValue, TextWithoutRetryWarnsAndHasNoExitRecord)
{
    Answers({Text(L"7XY45AV#AKL")});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, false));

    EXPECT_EQ(L"7XY45AV#AKL", value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Verbose|The value is 7XY45AV#AKL",
                             L"Warning|The value for 'P' is empty. No Retrying as per flag");
    EXPECT_THAT(wmi.waits, ElementsAre());
}

TEST_F(GetBIOSValue, EmptyTextWithoutRetryIsNotReadAgain)
{
    Answers({Text(L"")});
    std::wstring value{L"old"};

    EXPECT_EQ(S_OK, String(value, false));

    EXPECT_EQ(L"", value);
    EXPECT_THAT(wmi.EventsOf(L"get"), ElementsAre(L"get P"));
    EXPECT_THAT(wmi.waits, ElementsAre());
}

TEST_F(GetBIOSValue, NullTextIsReadSixTimesAndIsASuccess)
{
    Answers({Null()});
    std::wstring value{L"old"};

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(L"", value);
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
    EXPECT_EQ(6u, wmi.EventsOf(L"get").size());
    const std::vector<std::wstring> lines = log.Lines();
    EXPECT_EQ(6, std::ranges::count(lines, L"Warning|The value for 'P' is empty. So Retrying"));
    EXPECT_EQ(6, std::ranges::count(lines, L"Verbose|The value is "));
    EXPECT_EQ(L"TraceOut|Return Value hr = 0x0", lines.back());
}

TEST_F(GetBIOSValue, EmptyTextIsReadAgainUntilItIsThere)
{
    Answers({Text(L""), NullText(), Text(L"there")});
    std::wstring value{L"old"};

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(L"there", value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Verbose|The value is ", L"Warning|The value for 'P' is empty. So Retrying",
                             L"Verbose|sleep 100", L"Verbose|Inside while", L"Verbose|get P", L"Verbose|The value is ",
                             L"Warning|The value for 'P' is empty. So Retrying", L"Verbose|sleep 100",
                             L"Verbose|Inside while", L"Verbose|get P", L"Verbose|The value is there",
                             L"TraceOut|Return Value hr = 0x0");
}

TEST_F(GetBIOSValue, FailingTextIsTriedSixTimesAndLeftUntouched)
{
    Answers({Failure(WBEM_E_NOT_FOUND)});
    std::wstring value{L"old"};

    EXPECT_EQ(WBEM_E_NOT_FOUND, String(value, true));

    EXPECT_EQ(L"old", value);
    EXPECT_THAT(wmi.waits, ElementsAre(100u, 100u, 100u, 100u, 100u, 100u, 3000u));
    std::vector<std::wstring> errors;
    for (const std::wstring& line : log.Lines())
    {
        if (line.starts_with(L"Error"))
        {
            errors.push_back(line);
        }
    }
    EXPECT_THAT(errors, ElementsAre(L"Error|Failed to get value of P at count 0. Error = 0x80041002. Re-trying...",
                                    L"Error|Failed to get value of P at count 1. Error = 0x80041002. Re-trying...",
                                    L"Error|Failed to get value of P at count 2. Error = 0x80041002. Re-trying...",
                                    L"Error|Failed to get value of P at count 3. Error = 0x80041002. Re-trying...",
                                    L"Error|Failed to get value of P at count 4. Error = 0x80041002. Re-trying...",
                                    L"Error|Failed to get value of P at count 5. Error = 0x80041002. Re-trying..."));
    EXPECT_EQ(L"TraceOut|Return Value hr = 0x80041002", log.Lines().back());
}

TEST_F(GetBIOSValue, FailingTextWithoutRetryCostsBothWaits)
{
    Answers({Failure(WBEM_E_NOT_FOUND)});
    std::wstring value{L"old"};

    EXPECT_EQ(WBEM_E_NOT_FOUND, String(value, false));

    EXPECT_EQ(L"old", value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Failed to get value of P at count 0. Error = 0x80041002. Re-trying...",
                             L"Verbose|sleep 100", L"Verbose|sleep 3000", L"TraceOut|Return Value hr = 0x80041002");
}

TEST_F(GetBIOSValue, ExceptionsOfATextEndAfterFourLongWaits)
{
    Answers({Throws(E_ABORT)});
    std::wstring value{L"old"};

    EXPECT_EQ(E_ABORT, String(value, true));

    EXPECT_EQ(L"old", value);
    EXPECT_THAT(wmi.waits, ElementsAre(3000u, 3000u, 3000u, 3000u));
}

TEST_F(GetBIOSValue, ExceptionOfATextWithoutRetryEarnsAnotherRound)
{
    Answers({Throws(E_ABORT), Text(L"there")});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, false));

    EXPECT_EQ(L"there", value);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Exception while getting BIOS with error 0x80004004", L"Verbose|sleep 3000",
                             L"Verbose|Inside while", L"Verbose|get P", L"Verbose|The value is there",
                             L"Warning|The value for 'P' is empty. No Retrying as per flag");
}

TEST_F(GetBIOSValue, EmptyTextAfterAnExceptionEndsWithSuccess)
{
    Answers({Throws(E_ABORT), Text(L"")});
    std::wstring value{L"old"};

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(L"", value);
    EXPECT_THAT(wmi.waits, ElementsAre(3000u, 100u, 100u, 100u, 100u, 100u, 100u, 3000u));
}

TEST_F(GetBIOSValue, TextEndsAtItsFirstNul)
{
    Answers({Text(std::wstring{L"A01\0hidden", 10})});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(L"A01", value);
}

TEST_F(GetBIOSValue, LongTextsAndLoneSurrogatesArriveWhole)
{
    const std::wstring text = std::wstring(60000, L'x') + L'\xD800';
    Answers({Text(text)});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(text, value);
}

TEST_F(GetBIOSValue, ValueThatIsNoTextReadsAsEmpty)
{
    for (const FakeAnswer& answer :
         {::Number(VT_I4, 5), ::Number(VT_BOOL, VARIANT_TRUE), ::Number(VT_EMPTY, 0), Strings({L"a"})})
    {
        IWbemClassObject* const row = wmi.NewRow({{L"P", {answer}}});
        std::wstring value{L"old"};
        EXPECT_EQ(S_OK, reader.GetBIOSValue(row, L"P", value, false));
        EXPECT_EQ(L"", value);
        row->Release();
    }
}

TEST_F(GetBIOSValue, EveryStringIsGivenBack)
{
    int allocated = 0;
    int freed = 0;
    IMPORT_HOOK(SysAllocStringLen)
    ([&](const OLECHAR* text, UINT length) {
        ++allocated;
        return hook_SysAllocStringLen.RealOfCurrent()(text, length);
    });
    IMPORT_HOOK(VariantClear)
    ([&](VARIANT* value) {
        freed += V_VT(value) == VT_BSTR ? 1 : 0;
        return hook_VariantClear.RealOfCurrent()(value);
    });
    Answers({Text(L""), Text(L""), Text(L"there")});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, true));

    EXPECT_EQ(3, allocated);
    EXPECT_EQ(3, freed);
}

TEST_F(GetBIOSValue, ValueOfTheLastFailureIsGivenBack)
{
    int cleared = 0;
    IMPORT_HOOK(VariantClear)
    ([&](VARIANT* value) {
        ++cleared;
        return hook_VariantClear.RealOfCurrent()(value);
    });
    Answers({Failure(WBEM_E_NOT_FOUND)});
    DWORD number = 0;
    std::wstring text;

    EXPECT_EQ(WBEM_E_NOT_FOUND, Number(number));
    EXPECT_EQ(1, cleared);
    EXPECT_EQ(WBEM_E_NOT_FOUND, String(text, true));
    EXPECT_EQ(2, cleared);
}

TEST_F(GetBIOSValue, TextForWhichMemoryRunsOutIsReadAnew)
{
    const std::wstring text(100, L'x');
    std::optional<ThrowingAllocationFault> fault;
    int freed = 0;
    IMPORT_HOOK(VariantClear)
    ([&](VARIANT* value) {
        freed += V_VT(value) == VT_BSTR ? 1 : 0;
        return hook_VariantClear.RealOfCurrent()(value);
    });
    Answers({[&](VARIANT* value) {
                 const HRESULT result = Text(text)(value);
                 fault.emplace(0);
                 return result;
             },
             Text(text)});
    std::wstring value;

    EXPECT_EQ(S_OK, String(value, true));
    fault.reset();

    EXPECT_EQ(text, value);
    EXPECT_EQ(2, freed);
    EXPECT_LINES_AFTER_ENTRY(L"Verbose|Trying to get value of P", L"Verbose|Inside while", L"Verbose|get P",
                             L"Error|Exception while getting BIOS with error 0x8007000E", L"Verbose|sleep 3000",
                             L"Verbose|Inside while", L"Verbose|get P", L"Verbose|The value is " + text,
                             L"TraceOut|Return Value hr = 0x0");
}

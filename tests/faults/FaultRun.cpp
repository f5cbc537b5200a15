#include "tests/faults/FaultRun.h"

#include "tests/faults/Faults.h"
#include "tests/harness/AllocationFault.h"

#include "shared/LogLevel.h"
#include "shared/Logger.h"
#include "shared/WideText.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>

using Quil::Shared::CqlLogger;
using Quil::Shared::CqlLogListener;
using Quil::Shared::FormatText;

namespace Faults
{

namespace
{

constexpr char kAllocation[] = "allocation";
constexpr char kThrowingAllocation[] = "throwing allocation";
constexpr int kNever = 1 << 30;

std::atomic<FaultRun*> s_run{nullptr};
DWORD s_thread = 0; // that of the operation

// A std::mutex would wait through functions that are interposed themselves.
class Lock
{
  public:
    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }

  private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};
Lock s_lock;

// Keeps what tells of a failure, and spoils the last error.
class Records final : public CqlLogListener
{
  public:
    explicit Records(std::vector<std::wstring>& records) : CqlLogListener{0, nullptr, nullptr, true}, m_records{records}
    {
        m_nMaximumLevel = Quil::Shared::Error;
    }
    void Write(const LogData& record) override
    {
        if (record.Level() >= Quil::Shared::Warning)
        {
            const UnobservedAllocations own;
            const std::lock_guard guard{s_lock};
            const std::wstring function{record.FunctionName().begin(), record.FunctionName().end()};
            m_records.push_back(Quil::Shared::LogLevelName(record.Level()) + (L"|" + function + L"|") +
                                std::wstring{record.Message()});
        }
        SetLastError(0xDEAD);
    }
    DWORD Type() const override { return Console; }

  private:
    std::vector<std::wstring>& m_records;
};

void Replace(std::wstring& text, const std::wstring& from, const std::wstring& to)
{
    for (std::size_t at = text.find(from); at != std::wstring::npos; at = text.find(from, at + to.size()))
    {
        text.replace(at, from.size(), to);
    }
}

// What a run has beyond the untouched one.
std::vector<std::wstring> Added(const std::vector<std::wstring>& records, std::vector<std::wstring> untouched)
{
    std::vector<std::wstring> added;
    for (const std::wstring& record : records)
    {
        const auto found = std::find(untouched.begin(), untouched.end(), record);
        if (found == untouched.end())
        {
            added.push_back(record);
        }
        else
        {
            untouched.erase(found);
        }
    }
    return added;
}

std::wstring Render(const Outcome& outcome, const Outcome& untouched)
{
    std::wstring text = L" => " + (outcome.completed ? outcome.result : L"exception") + L" | holds " +
                        (outcome.held.empty() ? L"nothing" : outcome.held) + L"\n";
    std::vector<std::wstring> added = Added(outcome.records, untouched.records);
    while (!added.empty())
    {
        std::wstring record = added.front();
        const auto times = std::erase(added, record);
        Replace(record, L"\n", L"\\n");
        text += L"  " + record + (times > 1 ? L" (" + std::to_wstring(times) + L" times)" : L"") + L"\n";
    }
    return text;
}

// The calls with one outcome, in the order of the sweep.
class Group
{
  public:
    explicit Group(std::wstring outcome) : m_outcome{std::move(outcome)} {}

    const std::wstring& OutcomeText() const { return m_outcome; }
    void Add(const std::string& function, const std::wstring& number)
    {
        const std::wstring name{function.begin(), function.end()};
        m_calls += (m_calls.empty() ? L"" : name == m_last ? L", " : L"; ") + (name == m_last ? L"" : name + L" ");
        m_calls += number;
        m_last = name;
    }
    std::wstring Text() const { return m_calls + m_outcome; }

  private:
    std::wstring m_outcome;
    std::wstring m_calls;
    std::wstring m_last;
};

class Groups
{
  public:
    void Add(const std::wstring& outcome, const std::string& function, const std::wstring& number)
    {
        auto group = std::find_if(m_groups.begin(), m_groups.end(),
                                  [&](const Group& one) { return one.OutcomeText() == outcome; });
        if (group == m_groups.end())
        {
            group = m_groups.insert(group, Group{outcome});
        }
        group->Add(function, number);
    }
    std::wstring Text() const
    {
        std::wstring text;
        for (const Group& group : m_groups)
        {
            text += group.Text();
        }
        return text;
    }

  private:
    std::vector<Group> m_groups;
};

} // namespace

DWORD FaultRun::Enter(const char* function)
{
    const UnobservedAllocations own;
    const std::lock_guard guard{s_lock};
    const std::string name = (GetCurrentThreadId() == s_thread ? "" : "worker's ") + std::string{function};
    auto call =
        std::find_if(m_calls.begin(), m_calls.end(), [&](const auto& counted) { return counted.first == name; });
    if (call == m_calls.end())
    {
        call = m_calls.insert(call, {name, 0});
    }
    const int number = ++call->second;
    const bool fails =
        name == m_fault.function && (m_fault.fromThenOn ? number >= m_fault.number : number == m_fault.number);
    m_reached = m_reached || fails;
    return fails ? m_fault.code : 0;
}

void FaultRun::Hold(const char* what, int change)
{
    const UnobservedAllocations own;
    const std::lock_guard guard{s_lock};
    auto held = std::find_if(m_held.begin(), m_held.end(), [&](const auto& counted) { return counted.first == what; });
    if (held == m_held.end())
    {
        held = m_held.insert(held, {what, 0});
    }
    held->second += change;
}

void FaultRun::Try(const std::function<std::wstring()>& operation)
{
    auto logger = std::make_unique<CqlLogger>();
    logger->AddListener(std::make_unique<Records>(m_outcome.records));
    std::unique_ptr<CqlLogger> former = CqlLogger::ExchangeInstance(std::move(logger));
    s_thread = GetCurrentThreadId();
    const bool allocation = m_fault.function == kAllocation;
    {
        const Interposition interposition;
        const AllocationFault memory{allocation ? m_fault.number - 1 : kNever, m_fault.fromThenOn ? kNever : 1};
        const ThrowingAllocationFault text{m_fault.function == kThrowingAllocation ? m_fault.number - 1 : kNever};
        s_run = this;
        try
        {
            const std::wstring result = operation();
            const UnobservedAllocations own;
            m_outcome.result = result;
            m_outcome.completed = true;
        }
        catch (...)
        {
            m_outcome.completed = false;
        }
        s_run = nullptr;
        const UnobservedAllocations own;
        if (memory.Asked() != 0)
        {
            m_calls.emplace_back(kAllocation, memory.Asked());
        }
        m_texts = text.Asked();
        m_reached = m_reached || (allocation && memory.Asked() >= m_fault.number);
    }
    static_cast<void>(CqlLogger::ExchangeInstance(std::move(former)));
}

void FaultRun::Append(const std::wstring& text)
{
    const UnobservedAllocations own;
    m_outcome.result += text;
}

void FaultRun::Finish(int openBlocks)
{
    if (openBlocks != 0)
    {
        m_held.emplace_back("memory", openBlocks);
    }
    std::sort(m_held.begin(), m_held.end());
    for (const auto& [what, count] : m_held)
    {
        if (count != 0)
        {
            m_outcome.held += FormatText(L"%s%S %d", m_outcome.held.empty() ? L"" : L", ", what.c_str(), count);
        }
    }
}

// Called by the interposed functions; 0 outside of a run.
DWORD EnterCall(const char* function)
{
    FaultRun* const run = s_run;
    return run != nullptr ? run->Enter(function) : 0;
}

void HoldChange(const char* what, int change)
{
    if (FaultRun* const run = s_run)
    {
        run->Hold(what, change);
    }
}

bool IsOperationThread()
{
    return GetCurrentThreadId() == s_thread;
}

HRESULT MethodResult(const char* method)
{
    const DWORD code = EnterCall(method);
    return code != 0 ? HRESULT_FROM_WIN32(code) : S_OK;
}

namespace
{

std::unique_ptr<FaultRun> RunWith(const Operation& operation, Fault fault)
{
    auto run = std::make_unique<FaultRun>(std::move(fault));
    const AllocationBalance balance;
    operation.run(*run);
    run->Finish(balance.Open());
    return run;
}

// The second untouched run: what is made once per process is there by then.
std::unique_ptr<FaultRun> RunUntouched(const Operation& operation)
{
    RunWith(operation, {});
    return RunWith(operation, {});
}

} // namespace

int SweepTexts(const Operation& operation, std::string& report)
{
    const auto untouched = RunUntouched(operation);
    for (int number = 1; number <= untouched->Texts(); ++number)
    {
        const auto run = RunWith(operation, {kThrowingAllocation, number, false, ERROR_NOT_ENOUGH_MEMORY});
        const Outcome& outcome = run->Result();
        if (!outcome.held.empty() && outcome.held != untouched->Result().held)
        {
            report += std::to_string(number) + (outcome.completed ? " completed" : " threw") + ", holds " +
                      std::string{outcome.held.begin(), outcome.held.end()} + "\n";
        }
        else if (!outcome.completed && operation.outermost)
        {
            report += std::to_string(number) + " let an exception out\n";
        }
    }
    return untouched->Texts();
}

std::wstring Sweep(const Operation& operation, DWORD code, int& points)
{
    const auto runWith = [&](Fault fault) { return RunWith(operation, std::move(fault)); };
    const auto untouched = RunUntouched(operation);
    const std::wstring same = Render(untouched->Result(), untouched->Result());
    Groups groups;
    groups.Add(same, "untouched", L"");
    const auto add = [&](const Fault& fault, const std::wstring& outcome, const wchar_t* suffix) {
        groups.Add(outcome, fault.function, std::to_wstring(fault.number) + suffix);
    };
    for (const auto& [function, calls] : untouched->Calls())
    {
        for (int number = 1; number <= calls; ++number)
        {
            Fault fault{function, number, false, code};
            const auto once = runWith(fault);
            fault.fromThenOn = true;
            const auto on = runWith(fault);
            points += (once->Reached() ? 1 : 0) + (on->Reached() ? 1 : 0);
            const std::wstring first = Render(once->Result(), untouched->Result());
            const std::wstring second = Render(on->Result(), untouched->Result());
            add(fault, once->Reached() && on->Reached() ? first : L" was not reached\n", L"");
            if (first != second)
            {
                add(fault, second, L"+");
            }
        }
    }
    return L"\n" + groups.Text();
}

namespace
{

// Placeholders and what stands in their place; longer texts first.
std::vector<std::pair<std::wstring, std::wstring>> Placeholders(DWORD code)
{
    const HRESULT result = HRESULT_FROM_WIN32(code);
    return {{L"{hd}", FormatText(L"%d", result)},  {L"{hX}", FormatText(L"%X", result)},
            {L"{hx}", FormatText(L"%x", result)},  {L"{8X}", FormatText(L"%08lX", code)},
            {L"{8x}", FormatText(L"%08lx", code)}, {L"{d}", FormatText(L"%d", code)},
            {L"{X}", FormatText(L"%X", code)},     {L"{x}", FormatText(L"%x", code)}};
}

} // namespace

std::wstring Expected(const wchar_t* outcomes, DWORD code)
{
    std::wstring text = outcomes;
    for (const auto& [placeholder, value] : Placeholders(code))
    {
        Replace(text, placeholder, value);
    }
    return text;
}

std::wstring Template(std::wstring outcomes, DWORD code)
{
    for (const auto& [placeholder, value] : Placeholders(code))
    {
        Replace(outcomes, value, placeholder);
    }
    return outcomes;
}

} // namespace Faults

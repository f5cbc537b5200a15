// One run of one operation with at most one fault in it, and the sweep that makes all such runs.
//
// The sweep runs an operation untouched and counts its calls of the interposed functions (Faults.cpp), of the COM
// methods of the stand-ins and of the non-throwing allocation. Then it runs it again for every one of these calls: once
// with that call failing, once with the same function failing from there on, with each of three error codes. What the
// caller got, what stayed open and what was logged beyond the untouched run makes the outcome. The outcomes are
// compared with the table beside the operation:
//
//   untouched => 0 | holds nothing
//   OpenSCManagerW 1 => -3 | holds nothing
//     Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
//
// A call number with a "+" stands for "from there on", where that differs. {d} {x} {8x} {8X} are the error code, {hd}
// {hx} {hX} the HRESULT made from it. A listener of the run spoils the last error at every record: a code that logging
// did not keep shows.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Faults
{

// The fault of a run. An empty function means that nothing fails.
struct Fault
{
    std::string function; // as it is counted: "OpenProcess", "allocation", "worker's CreateFileW"
    int number{0};        // of its calls, from 1
    bool fromThenOn{false};
    DWORD code{0};
};

struct Outcome
{
    bool completed{false}; // no exception came out of the operation
    std::wstring result;
    std::wstring held;
    std::vector<std::wstring> records; // Warning and above, as "Level|function|message"
};

class FaultRun
{
  public:
    explicit FaultRun(Fault fault) : m_fault{std::move(fault)} {}
    FaultRun(const FaultRun&) = delete;
    FaultRun& operator=(const FaultRun&) = delete;

    // The part of an operation that faults are put into; stand-ins are made before and end after it.
    void Try(const std::function<std::wstring()>& operation);

    // What the operation left behind, for its result.
    void Append(const std::wstring& text);
    // After the stand-ins have ended: what is still open makes the outcome complete. Blocks of memory that were
    // allocated since before the stand-ins and not freed.
    void Finish(int openBlocks);

    const Outcome& Result() const { return m_outcome; }
    // Calls by function, in the order of the first ones.
    const std::vector<std::pair<std::string, int>>& Calls() const { return m_calls; }
    // Throwing allocations that the operation asked for.
    int Texts() const { return m_texts; }
    // Whether the call that was to fail was made.
    bool Reached() const { return m_reached; }

    // A call in the part: the code that it fails with, 0 when it goes through.
    DWORD Enter(const char* function);
    void Hold(const char* what, int change);

  private:
    Fault m_fault;
    Outcome m_outcome;
    bool m_reached{false};
    int m_texts{0};
    std::vector<std::pair<std::string, int>> m_calls;
    std::vector<std::pair<std::string, int>> m_held;
};

// A COM method of a stand-in: S_OK, or what it fails with.
HRESULT MethodResult(const char* method);

struct Operation
{
    const char* name;
    void (*run)(FaultRun& run);
    const wchar_t* outcomes; // the table
    bool outermost{false};   // the system calls it: no exception may come out
};

// The other way round: the codes of a table as placeholders.
std::wstring Template(std::wstring outcomes, DWORD code);
// All outcomes of an operation under one code, as in its table.
std::wstring Sweep(const Operation& operation, DWORD code, int& points);
// Runs an operation once for each throwing allocation, with that one failing. Gives their number; the report tells of
// runs that leave more open than the untouched one.
int SweepTexts(const Operation& operation, std::string& report);
// A table with the codes filled in.
std::wstring Expected(const wchar_t* outcomes, DWORD code);

} // namespace Faults

// The firmware of a profile: which namespaces, classes and rows the PC's WMI has, and how their calls fail.
//
//   [wmi ROOT\wmi]                            a namespace: connect, blanket = outcome; delay_ms
//   [wmi ROOT\wmi MS_SystemInformation]       a class: source = platform; query, next = outcome; delay_ms (of the
//   query),
//                                             next_delay_ms, get_delay_ms (each row, each property)
//   [wmi ROOT\wmi MS_SystemInformation 1]     a row: property = outcome. A row without entries is no row.
//
// An outcome is one step, or steps with " then " between them, each for one call ("*3" behind it: three); the last one
// stays:  ok   fail:0x80041002   null   empty   i4:5   u8:1   bool:yes   list:ABC|FBYTE#3X7;   repeat:60000:A
//         utf16:0041 D800   and any other text, which is the value itself ("text:" in front takes all of the rest).
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Testbed
{

struct FirmwareValue
{
    VARTYPE type{VT_EMPTY};
    std::wstring text;
    long number{0};
    std::vector<std::wstring> list;

    bool operator==(const FirmwareValue&) const = default;
};

struct FirmwareStep
{
    enum class Kind
    {
        Ok,
        Fail,
        Value
    };
    Kind kind{Kind::Ok};
    HRESULT error{S_OK};
    FirmwareValue value;
    unsigned long times{1};

    bool operator==(const FirmwareStep&) const = default;
};

// The steps of an outcome, never none.
std::vector<FirmwareStep> ParseOutcome(std::wstring_view outcome);

// Goes through the steps, one call each.
class CFirmwareOutcome
{
  public:
    explicit CFirmwareOutcome(std::wstring_view outcome) : m_steps{ParseOutcome(outcome)} {}
    FirmwareStep Next();

  private:
    std::vector<FirmwareStep> m_steps;
    std::size_t m_current{0};
    unsigned long m_used{0};
};

// "SELECT * FROM QUIL_BIOSSetting WHERE Name='Feature Byte'"
struct FirmwareQuery
{
    std::vector<std::wstring> properties; // empty: all
    std::wstring className;
    std::wstring whereProperty; // empty: no condition
    std::wstring whereValue;
};
std::optional<FirmwareQuery> ParseQuery(std::wstring_view text);

// A namespace as callers spell it, without "\\.\" and with backslashes.
std::wstring PlainNamespace(std::wstring_view path);

// Waits as long as the section's key says, if it says so.
void Delay(std::wstring_view section, std::wstring_view key);

std::wstring NamespaceSection(std::wstring_view path);
std::wstring ClassSection(std::wstring_view path, std::wstring_view className);
bool HasNamespace(std::wstring_view path);
bool HasClass(std::wstring_view path, std::wstring_view className);

// The sections of the rows that the query selects, in file order.
std::vector<std::wstring> SelectRows(std::wstring_view path, const FirmwareQuery& query);

} // namespace Testbed

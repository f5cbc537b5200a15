// The rows that a query of the firmware selects, and one row.
#pragma once

#include "testbed/wmi/FirmwareProfile.h"
#include "testbed/wmi/WbemDefaults.h"

#include <string>
#include <utility>
#include <vector>

namespace Testbed
{

class CFirmwareRow : public CCounted<CRowDefaults, IID_IWbemClassObject>
{
  public:
    CFirmwareRow(const std::wstring& section, std::wstring path, FirmwareQuery query);

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override;

  private:
    std::wstring m_path;
    FirmwareQuery m_query;
    std::vector<std::pair<std::wstring, CFirmwareOutcome>> m_properties;
};

class CFirmwareRows : public CCounted<CRowsDefaults, IID_IEnumWbemClassObject>
{
  public:
    CFirmwareRows(std::wstring path, FirmwareQuery query);

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects, ULONG* returned) override;

  private:
    std::wstring m_path;
    FirmwareQuery m_query;
    bool m_known;
    std::vector<std::wstring> m_rows; // sections
    std::size_t m_next{0};
    CFirmwareOutcome m_outcome;
};

// Fills an initialised VARIANT.
HRESULT CopyValue(const FirmwareValue& value, VARIANT* target);

} // namespace Testbed

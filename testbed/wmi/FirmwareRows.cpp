#include "testbed/wmi/FirmwareRows.h"

#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"

#include <oleauto.h>

#include <algorithm>

namespace Testbed
{
namespace
{

BSTR MakeString(const std::wstring& text)
{
    return SysAllocStringLen(text.c_str(), static_cast<UINT>(text.size()));
}

} // namespace

HRESULT CopyValue(const FirmwareValue& value, VARIANT* target)
{
    *target = VARIANT{};
    V_VT(target) = value.type;
    switch (value.type)
    {
    case VT_BSTR:
        V_BSTR(target) = MakeString(value.text);
        break;
    case VT_ARRAY | VT_BSTR: {
        SAFEARRAY* const array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(value.list.size()));
        for (LONG i = 0; i < static_cast<LONG>(value.list.size()); ++i)
        {
            const BSTR element = MakeString(value.list[static_cast<std::size_t>(i)]);
            SafeArrayPutElement(array, &i, element);
            SysFreeString(element);
        }
        V_ARRAY(target) = array;
        break;
    }
    default:
        V_I4(target) = value.number;
        break;
    }
    return S_OK;
}

CFirmwareRow::CFirmwareRow(const std::wstring& section, std::wstring path, FirmwareQuery query)
    : m_path{std::move(path)}, m_query{std::move(query)}
{
    for (const auto& [name, outcome] : ProfileEntries(section))
    {
        m_properties.emplace_back(name, CFirmwareOutcome{outcome});
    }
}

HRESULT CFirmwareRow::Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*)
{
    Record(L"wmi", L"get " + m_query.className + L"." + name);
    Delay(ClassSection(m_path, m_query.className), L"get_delay_ms");
    const auto same = [&](const std::wstring& other) { return SameName(other, name); };
    const auto property = std::ranges::find_if(m_properties, same, [](const auto& entry) { return entry.first; });
    const bool selected = m_query.properties.empty() || std::ranges::any_of(m_query.properties, same);
    if (property == m_properties.end() || !selected)
    {
        return WBEM_E_NOT_FOUND;
    }
    const FirmwareStep step = property->second.Next();
    return step.kind == FirmwareStep::Kind::Fail ? step.error : CopyValue(step.value, value);
}

CFirmwareRows::CFirmwareRows(std::wstring path, FirmwareQuery query)
    : m_path{std::move(path)}, m_query{std::move(query)}, m_known{HasClass(m_path, m_query.className)},
      m_rows{SelectRows(m_path, m_query)}, m_outcome{
                                               ProfileValue(ClassSection(m_path, m_query.className), L"next", L"ok")}
{
}

HRESULT CFirmwareRows::Next(LONG, ULONG count, IWbemClassObject** objects, ULONG* returned)
{
    *returned = 0;
    if (count == 0)
    {
        return WBEM_E_INVALID_PARAMETER;
    }
    objects[0] = nullptr;
    Delay(ClassSection(m_path, m_query.className), L"next_delay_ms");
    if (!m_known)
    {
        // A query that returns immediately tells of an unknown class only here.
        return WBEM_E_INVALID_CLASS;
    }
    const FirmwareStep step = m_outcome.Next();
    if (step.kind == FirmwareStep::Kind::Fail)
    {
        return step.error;
    }
    if (step.kind == FirmwareStep::Kind::Value && step.value.type == VT_NULL)
    {
        return WBEM_S_NO_ERROR;
    }
    if (m_next == m_rows.size())
    {
        return WBEM_S_FALSE;
    }
    objects[0] = new CFirmwareRow{m_rows[m_next], m_path, m_query};
    ++m_next;
    *returned = 1;
    return count == 1 ? WBEM_S_NO_ERROR : WBEM_S_FALSE;
}

} // namespace Testbed

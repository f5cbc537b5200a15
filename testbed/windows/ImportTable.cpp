#include "testbed/windows/ImportTable.h"

#include <windows.h>

namespace Testbed
{
namespace
{

void** FindImportSlot(HMODULE module, std::string_view function)
{
    BYTE* const base = reinterpret_cast<BYTE*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (imports.VirtualAddress == 0)
    {
        return nullptr;
    }
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
    for (; library->Name != 0; ++library)
    {
        const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot)
        {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
            {
                continue;
            }
            const auto* const entry = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            if (function == reinterpret_cast<const char*>(entry->Name))
            {
                return reinterpret_cast<void**>(&slot->u1.Function);
            }
        }
    }
    return nullptr;
}

} // namespace

bool ReplaceImport(const char* function, void* replacement)
{
    void** const slot = FindImportSlot(GetModuleHandleW(nullptr), function);
    if (slot == nullptr)
    {
        return false;
    }
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    *slot = replacement;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return true;
}

} // namespace Testbed

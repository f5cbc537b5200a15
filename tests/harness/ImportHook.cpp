#include "tests/harness/ImportHook.h"

namespace Harness
{

void** FindImportSlot(HMODULE module, std::string_view name)
{
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto* const headers =
        reinterpret_cast<IMAGE_NT_HEADERS64*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0)
    {
        return nullptr;
    }
    auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library)
    {
        auto* names = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + library->OriginalFirstThunk);
        auto* slots = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slots)
        {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal))
            {
                continue;
            }
            const auto* const import = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (name == reinterpret_cast<const char*>(import->Name))
            {
                return reinterpret_cast<void**>(&slots->u1.Function);
            }
        }
    }
    return nullptr;
}

void* ExchangeImportSlot(void** slot, void* function)
{
    DWORD old = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
    void* const previous = InterlockedExchangePointer(slot, function);
    VirtualProtect(slot, sizeof *slot, old, &old);
    return previous;
}

} // namespace Harness

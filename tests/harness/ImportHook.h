// Replaces one imported Windows function of the test program for the length of a scope.
//
//   IMPORT_HOOK(SetupDiGetClassDevsW)([&](auto...) { SetLastError(5); return INVALID_HANDLE_VALUE; });
//   ...
//   EXPECT_EQ(1, hook_SetupDiGetClassDevsW.Calls());
//   hook_SetupDiGetClassDevsW.Real()(...);      the function behind the hook
//
// The replacement is typed from the function and may capture. Only calls of this program's own objects are seen, not
// those inside other modules (IMPORT_HOOK_IN sees those of one). A function that nothing here imports has no slot: that
// is a test failure. The compiler may read a slot only once within one function: call the unit under test, not the
// hooked function itself. Hooks of one function nest; they end in the reverse order of their start.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Harness
{

// Address of the program's import slot for a function of that name, null when there is none.
void** FindImportSlot(HMODULE module, std::string_view name);

// Writes a slot and gives back what it held.
void* ExchangeImportSlot(void** slot, void* function);

// The type of a function without its noreturn, which clang counts in.
template <typename Result, typename... Args> std::type_identity<Result(Args...)> SignatureOf(Result (*)(Args...));

template <typename Tag, typename Function> class ImportHook;

template <typename Tag, typename Result, typename... Args> class ImportHook<Tag, Result(Args...)>
{
  public:
    using Pointer = Result (*)(Args...);

    template <typename Replacement> explicit ImportHook(Replacement replacement) : m_replacement{std::move(replacement)}
    {
        m_slot = FindImportSlot(GetModuleHandleW(Tag::Module()), Tag::Name());
        if (m_slot == nullptr)
        {
            ADD_FAILURE() << "nothing here imports " << Tag::Name();
            return;
        }
        m_outer = s_current;
        // Before the slot changes: other threads may come through it at once.
        m_real = reinterpret_cast<Pointer>(*m_slot);
        s_current = this;
        ExchangeImportSlot(m_slot, reinterpret_cast<void*>(&Trampoline));
    }
    ~ImportHook()
    {
        if (m_slot != nullptr)
        {
            ExchangeImportSlot(m_slot, reinterpret_cast<void*>(m_real));
            s_current = m_outer;
        }
    }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

    int Calls() const noexcept { return m_calls; }
    // The function behind this hook; from inside a replacement it is the way to the system.
    Pointer Real() const noexcept { return m_real; }
    // The same before the hook's name is in scope (inside its own replacement): ImportHook is running, so it is
    // current.
    static Pointer RealOfCurrent() noexcept { return s_current->m_real; }

  private:
    static Result Trampoline(Args... args)
    {
        ImportHook* const hook = s_current;
        ++hook->m_calls;
        return hook->m_replacement(args...);
    }

    static inline ImportHook* s_current = nullptr;

    std::function<Result(Args...)> m_replacement;
    std::atomic<int> m_calls{0};
    void** m_slot{nullptr};
    Pointer m_real{nullptr};
    ImportHook* m_outer{nullptr};
};

} // namespace Harness

// Declares the object hook_<function>; the replacement follows in parentheses.
#define IMPORT_HOOK(function) IMPORT_HOOK_IN(nullptr, function)
// The same for the calls that another loaded module makes, such as L"rpcrt4.dll".
#define IMPORT_HOOK_IN(module, function)                                                                               \
    struct HookTag_##function                                                                                          \
    {                                                                                                                  \
        static const wchar_t* Module() { return module; }                                                              \
        static const char* Name() { return #function; }                                                                \
    };                                                                                                                 \
    Harness::ImportHook<HookTag_##function, decltype(Harness::SignatureOf(&function))::type> hook_##function

// Tries many inputs one after the other, each made from the seed and its number alone.
//
//   CFuzzRun run{"wmi", 2000};                            2000 unless HOTKEY_FUZZ_INPUTS says something else
//   run.Each([&](CFuzzSource& source) { ...source.Below(7)...; run.WriteDown(bytes); ...try them...; });
//
// The number, and what WriteDown is given, stand in a file before the input is tried: <subject>.txt in
// HOTKEY_FUZZ_FOLDER, or the folder for temporary files. An input that takes longer than a minute ends the program.
// HOTKEY_FUZZ_SEED and HOTKEY_FUZZ_FIRST choose other inputs.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Numbers that are the same with every compiler and on every machine.
class CFuzzSource
{
  public:
    CFuzzSource(std::uint64_t seed, std::uint64_t number) noexcept : m_ullState{seed << 40 ^ number} {}

    std::uint64_t Next() noexcept;
    // 0 to limit - 1.
    unsigned Below(unsigned limit) noexcept { return static_cast<unsigned>(Next() % limit); }
    bool OneIn(unsigned count) noexcept { return Below(count) == 0; }
    template <typename Range> const auto& Pick(const Range& range)
    {
        return *(std::begin(range) + Below(static_cast<unsigned>(std::size(range))));
    }

    std::string Bytes(std::size_t size);
    // Letters that matter to the subject, and any others in between.
    std::wstring Text(std::size_t longest, std::wstring_view letters);
    // Changes some bytes, cuts, repeats or adds some.
    void Mutate(std::string& bytes);

  private:
    std::uint64_t m_ullState;
};

class CFuzzRun
{
  public:
    CFuzzRun(const char* subject, std::uint64_t usualInputs);
    ~CFuzzRun();
    CFuzzRun(const CFuzzRun&) = delete;
    CFuzzRun& operator=(const CFuzzRun&) = delete;

    void Each(const std::function<void(CFuzzSource&)>& tryOne);
    void WriteDown(std::string_view bytes);
    // More inputs than usual were asked for.
    bool IsLong() const noexcept { return m_bLong; }

  private:
    static DWORD WINAPI Watch(void* run);

    const std::string m_strSubject;
    std::uint64_t m_ullSeed;
    std::uint64_t m_ullFirst;
    std::uint64_t m_ullInputs;
    bool m_bLong;
    HANDLE m_hJournal;
    HANDLE m_hEnd;
    HANDLE m_hWatch;
    std::atomic<std::uint64_t> m_ullNumber{0};
    std::atomic<ULONGLONG> m_ullStarted; // of the input at hand, in ticks
};

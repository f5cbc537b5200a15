// The policy in the registry: which keys are opened, which values are taken from which of them.
#include "shared/LogPolicy.h"

#include "shared/LogLevel.h"
#include "shared/LogListener.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"

#include <gtest/gtest.h>

using namespace Quil::Shared;

namespace
{

const std::wstring kProduct = L"Software\\Policies\\Quil\\Product";
const std::wstring kProgram = L"Software\\Policies\\Quil\\Product\\shared_tests";

std::wstring ReadText(const CUniqueRegistryKey& key)
{
    wchar_t text[64]{};
    DWORD size = sizeof text;
    return RegQueryValueExW(key.Get(), L"Mark", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) == ERROR_SUCCESS
               ? text
               : L"(none)";
}

} // namespace

TEST(OpenPolicyKeys, OpensTheProductKeyAndBelowItTheProgramKey)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"Mark", L"product");
    registry.SetText(kProgram, L"Mark", L"program");
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;

    OpenPolicyKeys(L"Product", product, program);

    EXPECT_EQ(L"product", ReadText(product));
    EXPECT_EQ(L"program", ReadText(program));
}

TEST(OpenPolicyKeys, LeavesTheProgramKeyNullWhenItIsMissing)
{
    RegistryScope registry;
    registry.MakeKey(kProduct);
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;

    OpenPolicyKeys(L"Product", product, program);

    EXPECT_TRUE(product);
    EXPECT_FALSE(program);
}

TEST(OpenPolicyKeys, LeavesBothNullWithoutTheProductKey)
{
    RegistryScope registry;
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    IMPORT_HOOK(RegOpenKeyExW)
    ([&](HKEY, const wchar_t* path, DWORD options, REGSAM access, PHKEY) -> LSTATUS {
        EXPECT_STREQ(L"Software\\Policies\\Quil\\Product", path);
        EXPECT_EQ(0u, options);
        EXPECT_EQ(0x20019u, access);
        return ERROR_FILE_NOT_FOUND;
    });

    OpenPolicyKeys(L"Product", product, program);

    EXPECT_FALSE(product);
    EXPECT_FALSE(program);
    EXPECT_EQ(1, hook_RegOpenKeyExW.Calls());
}

TEST(OpenPolicyKeys, OpensTheProgramKeyForReading)
{
    RegistryScope registry;
    registry.SetText(kProgram, L"Mark", L"program");
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    IMPORT_HOOK(RegOpenKeyExW)
    ([](HKEY above, const wchar_t* path, DWORD options, REGSAM access, PHKEY key) {
        EXPECT_EQ(0u, options) << path;
        EXPECT_EQ(0x20019u, access) << path;
        return decltype(hook_RegOpenKeyExW)::RealOfCurrent()(above, path, options, access, key);
    });

    OpenPolicyKeys(L"Product", product, program);

    EXPECT_EQ(2, hook_RegOpenKeyExW.Calls());
}

TEST(OpenPolicyKeys, ClosesKeysThatArePassedIn)
{
    RegistryScope registry;
    registry.MakeKey(kProgram);
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    OpenPolicyKeys(L"Product", product, program);
    IMPORT_HOOK(RegCloseKey)([&](HKEY key) { return hook_RegCloseKey.Real()(key); });

    OpenPolicyKeys(L"Other", product, program);

    EXPECT_EQ(2, hook_RegCloseKey.Calls());
    EXPECT_FALSE(product);
    EXPECT_FALSE(program);
}

TEST(OpenPolicyKeys, TakesTheProductNameOfTheProgramsVersionResourceWithoutAnArgument)
{
    for (const wchar_t* const argument : {static_cast<const wchar_t*>(nullptr), L""})
    {
        RegistryScope registry;
        registry.SetText(L"Software\\Policies\\Quil\\Tests in Windows characters", L"Mark", L"own");
        CUniqueRegistryKey product;
        CUniqueRegistryKey program;

        OpenPolicyKeys(argument, product, program);

        EXPECT_EQ(L"own", ReadText(product));
    }
}

TEST(OpenPolicyKeys, FallsBackToTheUnicodeBlockOfTheVersionResource)
{
    RegistryScope registry;
    registry.SetText(L"Software\\Policies\\Quil\\Tests in Unicode", L"Mark", L"own");
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    IMPORT_HOOK(VerQueryValueW)
    ([&](const void* block, const wchar_t* name, void** value, PUINT length) -> BOOL {
        return std::wstring{name} == L"\\StringFileInfo\\040904E4\\ProductName"
                   ? FALSE
                   : hook_VerQueryValueW.Real()(const_cast<void*>(block), name, value, length);
    });

    OpenPolicyKeys(nullptr, product, program);

    EXPECT_EQ(2, hook_VerQueryValueW.Calls());
    EXPECT_EQ(L"own", ReadText(product));
}

TEST(OpenPolicyKeys, OpensNothingWithoutAProductName)
{
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    IMPORT_HOOK(GetFileVersionInfoSizeW)([](auto...) { return DWORD{0}; });
    IMPORT_HOOK(RegOpenKeyExW)([](auto...) { return LSTATUS{ERROR_SUCCESS}; });

    OpenPolicyKeys(nullptr, product, program);

    EXPECT_EQ(0, hook_RegOpenKeyExW.Calls());
    EXPECT_FALSE(product);
}

struct BaseName
{
    const wchar_t* path;
    const wchar_t* name;
};

class ProgramBaseNameOf : public testing::TestWithParam<BaseName>
{
};

TEST_P(ProgramBaseNameOf, CutsAtTheLastDotThenTakesWhatFollowsTheLastBackslash)
{
    IMPORT_HOOK(GetModuleFileNameW)
    ([](HMODULE, wchar_t* buffer, DWORD size) -> DWORD {
        EXPECT_EQ(260u, size);
        const std::wstring path = GetParam().path;
        return static_cast<DWORD>(path.copy(buffer, size));
    });

    EXPECT_EQ(GetParam().name, ProgramBaseName());
}

INSTANTIATE_TEST_SUITE_P(Paths, ProgramBaseNameOf,
                         testing::Values(BaseName{L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe",
                                                  L"HotKeyServiceTLY"},
                                         BaseName{L"C:\\a\\b.c.exe", L"b.c"}, BaseName{L"C:\\a\\noext", L"noext"},
                                         // Deliberate: the dot is looked for in the whole path.
                                         BaseName{L"C:\\a.b\\noext", L"a"}, BaseName{L"bare.exe", L"bare"}));

TEST(LogPolicyLevel, IsNothingWithoutKeysOrValues)
{
    RegistryScope registry;

    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));

    registry.MakeKey(kProgram);

    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));
}

TEST(LogPolicyLevel, OfTheProgramKeyWinsOverADifferentOneOfTheProductKey)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MinLogLevel", L"Error");
    EXPECT_EQ(5, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));

    registry.SetText(kProgram, L"MinLogLevel", L"Verbose");

    EXPECT_EQ(2, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));
}

TEST(LogPolicyLevel, ThatIsEmptyOrOfAnotherTypeCountsAsMissing)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MinLogLevel", L"Warning");
    registry.SetText(kProgram, L"MinLogLevel", L"");
    EXPECT_EQ(4, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));

    registry.SetNumber(kProgram, L"MinLogLevel", 5);
    EXPECT_EQ(4, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));

    registry.SetBytes(kProgram, L"MinLogLevel", REG_EXPAND_SZ, L"Error", 12);
    EXPECT_EQ(4, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));
}

TEST(LogPolicyLevel, ThatFills256BytesIsReadAndALongerOneIsNot)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MaxLogLevel", std::wstring(127, L'x'));
    EXPECT_EQ(99, CLogPolicy{L"Product"}.Level(L"MaxLogLevel"));

    registry.SetText(kProduct, L"MaxLogLevel", std::wstring(128, L'x'));

    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Level(L"MaxLogLevel"));
}

TEST(LogPolicyLevel, NeedsNoNulAtTheEndOfTheStoredText)
{
    RegistryScope registry;
    registry.SetBytes(kProduct, L"MinLogLevel", REG_SZ, L"Error", 10);

    EXPECT_EQ(5, CLogPolicy{L"Product"}.Level(L"MinLogLevel"));
}

TEST(LogPolicyNumber, IsADwordOfTheProgramKeyElseOfTheProductKey)
{
    RegistryScope registry;
    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Number(L"MaxLogSize"));
    registry.SetNumber(kProduct, L"MaxLogSize", 7);
    EXPECT_EQ(7u, CLogPolicy{L"Product"}.Number(L"MaxLogSize"));
    registry.SetNumber(kProgram, L"MaxLogSize", 9);
    EXPECT_EQ(9u, CLogPolicy{L"Product"}.Number(L"MaxLogSize"));
}

TEST(LogPolicyNumber, ThatIsZeroOrATextIsIgnored)
{
    RegistryScope registry;
    registry.SetNumber(kProduct, L"MaxLogSize", 0);
    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Number(L"MaxLogSize"));

    registry.SetText(kProduct, L"MaxLogSize", L"5");

    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Number(L"MaxLogSize"));
}

TEST(LogPolicyFlag, IsAnyValueOfFourBytes)
{
    RegistryScope registry;
    EXPECT_EQ(std::nullopt, CLogPolicy{L"Product"}.Flag(L"QueuedWrites"));
    registry.SetNumber(kProduct, L"QueuedWrites", 0x100);
    EXPECT_EQ(true, CLogPolicy{L"Product"}.Flag(L"QueuedWrites"));
    registry.SetBytes(kProgram, L"QueuedWrites", REG_BINARY, "\0\0\0", 4);
    EXPECT_EQ(false, CLogPolicy{L"Product"}.Flag(L"QueuedWrites"));
    registry.SetBytes(kProgram, L"QueuedWrites", REG_BINARY, "\1\0", 2);
    EXPECT_EQ(true, CLogPolicy{L"Product"}.Flag(L"QueuedWrites"));
}

struct LoggingType
{
    const wchar_t* text;
    DWORD mask;
};

class LogPolicyListenerMask : public testing::TestWithParam<LoggingType>
{
};

TEST_P(LogPolicyListenerMask, IsWhatTheWordsInTheTextSay)
{
    RegistryScope registry;
    registry.SetText(L"Software\\Policies\\Quil\\Tests in Windows characters", L"LoggingType", GetParam().text);

    EXPECT_EQ(GetParam().mask, CLogPolicy{}.ListenerMask());
}

INSTANTIATE_TEST_SUITE_P(Texts, LogPolicyListenerMask,
                         testing::Values(LoggingType{L"event,file", 9}, LoggingType{L"console debug", 18},
                                         LoggingType{L"FILE", 8}, LoggingType{L"Profiles;DEBUGGER/Events", 11},
                                         LoggingType{L"fileeventconsoledebug", 27}, LoggingType{L"none", 0},
                                         LoggingType{L"", 0}));

TEST(LogPolicyListenerMaskValue, MayHaveAnyRegistryType)
{
    RegistryScope registry;
    registry.SetBytes(kProduct, L"LoggingType", REG_BINARY, L"debug", 10);

    EXPECT_EQ(2u, CLogPolicy{L"Product"}.ListenerMask());
}

TEST(LogPolicyListenerMaskValue, OfTheProgramKeyHidesTheProductKeysEvenWhenItNamesNothing)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"LoggingType", L"event");
    EXPECT_EQ(1u, CLogPolicy{L"Product"}.ListenerMask());

    registry.SetText(kProgram, L"LoggingType", L"nothing");

    EXPECT_EQ(0u, CLogPolicy{L"Product"}.ListenerMask());
}

TEST(LogPolicyListenerMaskValue, LongerThan128BytesIsNotRead)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"LoggingType", std::wstring(58, L' ') + L"event");
    EXPECT_EQ(1u, CLogPolicy{L"Product"}.ListenerMask());

    registry.SetText(kProduct, L"LoggingType", std::wstring(59, L' ') + L"event");

    EXPECT_EQ(0u, CLogPolicy{L"Product"}.ListenerMask());
}

TEST(OpenPolicyKeys, TakesAnEmptyProductNameForNone)
{
    RegistryScope registry;
    registry.SetText(L"Software\\Policies\\Quil\\Tests in Windows characters", L"Mark", L"own");
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;

    OpenPolicyKeys(L"", product, program);

    EXPECT_EQ(L"own", ReadText(product));
}

TEST(OpenPolicyKeys, OpensNothingWhenTheVersionResourceCannotBeRead)
{
    CUniqueRegistryKey product;
    CUniqueRegistryKey program;
    IMPORT_HOOK(GetFileVersionInfoW)([](auto...) { return FALSE; });
    IMPORT_HOOK(RegOpenKeyExW)([](auto...) { return LSTATUS{ERROR_SUCCESS}; });

    OpenPolicyKeys(nullptr, product, program);

    EXPECT_EQ(0, hook_RegOpenKeyExW.Calls());
}

TEST(OpenPolicyKeys, OpensNothingWhenTheVersionResourceHasNoProductName)
{
    wchar_t name[] = L"Product";
    const struct
    {
        BOOL found;
        wchar_t* value;
        UINT length;
    } answers[] = {{FALSE, name, 8}, {TRUE, nullptr, 8}, {TRUE, name, 0}};
    for (const auto& answer : answers)
    {
        CUniqueRegistryKey product;
        CUniqueRegistryKey program;
        IMPORT_HOOK(VerQueryValueW)
        ([&](LPCVOID, LPCWSTR, void** value, PUINT length) {
            *value = answer.value;
            *length = answer.length;
            return answer.found;
        });
        IMPORT_HOOK(RegOpenKeyExW)([](auto...) { return LSTATUS{ERROR_SUCCESS}; });

        OpenPolicyKeys(nullptr, product, program);

        EXPECT_EQ(2, hook_VerQueryValueW.Calls());
        EXPECT_EQ(0, hook_RegOpenKeyExW.Calls());
    }
}

TEST(LogPolicyNumber, OfFewerBytesThanADwordIsIgnored)
{
    RegistryScope registry;
    registry.SetBytes(L"Software\\Policies\\Quil\\Tests in Windows characters", L"MaxLogSize", REG_DWORD, "\1\1", 2);

    EXPECT_EQ(std::nullopt, CLogPolicy{}.Number(L"MaxLogSize"));
}

// Versions of files and of the program itself: the record, the text, and each way to fail.
#include "utils/FileVersion.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace
{
// The test program's own file; its resource says 1.2.30.4.
std::wstring OwnPath()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

bool IsZero(const VS_FIXEDFILEINFO& version)
{
    const VS_FIXEDFILEINFO zeros{};
    return std::memcmp(&zeros, &version, sizeof zeros) == 0;
}

// A file whose version information has 100 bytes and whose version record is what VerQueryValueW hands out.
auto SizeOf100()
{
    return [](auto...) { return DWORD{100}; };
}
auto Succeeds()
{
    return [](auto...) { return TRUE; };
}
auto HandsOut(void* block, UINT length)
{
    return [=](const void*, const wchar_t*, void** blockOut, UINT* lengthOut) {
        *blockOut = block;
        *lengthOut = length;
        return TRUE;
    };
}
} // namespace

TEST(GetVersionValue, GivesTheWholeRecordOfAFile)
{
    const VS_FIXEDFILEINFO version = Utils::GetVersionValue(OwnPath().c_str());

    EXPECT_EQ(0xFEEF04BDu, version.dwSignature);
    EXPECT_EQ(0x00010002u, version.dwFileVersionMS);
    EXPECT_EQ(0x001E0004u, version.dwFileVersionLS);
    EXPECT_EQ(0x00050006u, version.dwProductVersionMS);
    EXPECT_EQ(0x00070008u, version.dwProductVersionLS);
    EXPECT_EQ(1u, version.dwFileType);
}

TEST(GetVersionValue, LogsThePathOnEntryAndNothingOnExit)
{
    LogCapture log;
    VS_FIXEDFILEINFO record{};
    record.dwSignature = 0xFEEF04BD;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)(HandsOut(&record, sizeof record));

    Utils::GetVersionValue(L"C:\\a.exe");

    EXPECT_RECORDS(log, L"TraceIn|Utils::GetVersionValue|Executable Complete Path = C:\\a.exe",
                   L"TraceOut|Utils::GetVersionValue|");
}

TEST(GetVersionValue, AsksForTheRootBlockOfTheSizeThatTheFileHas)
{
    VS_FIXEDFILEINFO record{};
    record.dwSignature = 0xFEEF04BD;
    std::wstring sizePath;
    std::wstring path;
    DWORD size = 0;
    std::wstring block;
    IMPORT_HOOK(GetFileVersionInfoSizeW)
    ([&](const wchar_t* file, DWORD*) {
        sizePath = file;
        return DWORD{100};
    });
    IMPORT_HOOK(GetFileVersionInfoW)
    ([&](const wchar_t* file, DWORD, DWORD length, void*) {
        path = file;
        size = length;
        return TRUE;
    });
    IMPORT_HOOK(VerQueryValueW)
    ([&](const void* data, const wchar_t* subBlock, void** blockOut, UINT* lengthOut) {
        block = subBlock;
        return HandsOut(&record, sizeof record)(data, subBlock, blockOut, lengthOut);
    });

    Utils::GetVersionValue(L"C:\\a.exe");

    EXPECT_EQ(L"C:\\a.exe", sizePath);
    EXPECT_EQ(L"C:\\a.exe", path);
    EXPECT_EQ(100u, size);
    EXPECT_EQ(L"\\", block);
}

TEST(GetVersionValue, WithoutVersionInformationLogsTheSizeAndNotTheErrorCode)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)
    ([](auto...) {
        SetLastError(1813);
        return DWORD{0};
    });

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe",
                 L"Error|GetFileVersionInfoSize Return Value  = 0 Error Code = ", L"TraceOut|");
}

TEST(GetVersionValue, OfAFileThatDoesNotExistIsZero)
{
    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\no such folder\\no such file.exe")));
}

TEST(GetVersionValue, WithoutMemoryIsZero)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    VS_FIXEDFILEINFO version{};
    {
        const AllocationFault fault{0};
        version = Utils::GetVersionValue(L"C:\\a.exe");
    }

    EXPECT_TRUE(IsZero(version));
    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|Version String Allocation failed",
                 L"TraceOut|");
}

TEST(GetVersionValue, ThatCannotBeReadIsZero)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)
    ([](auto...) {
        SetLastError(32);
        return FALSE;
    });

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|GetFileVersionInfo failed with error 32",
                 L"TraceOut|");
}

TEST(GetVersionValue, WhoseRootBlockIsMissingIsZero)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)
    ([](auto...) {
        SetLastError(1812);
        return FALSE;
    });

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|VerQueryValue failed with error 1812",
                 L"TraceOut|");
}

TEST(GetVersionValue, WhoseRootBlockIsEmptyIsZero)
{
    LogCapture log;
    VS_FIXEDFILEINFO record{};
    record.dwSignature = 0xFEEF04BD;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)(HandsOut(&record, 0));

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|VerQueryValue returned size = 0",
                 L"TraceOut|");
}

TEST(GetVersionValue, WhoseRootBlockIsNowhereIsZero)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)(HandsOut(nullptr, 52));

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|VS_FIXEDFILEINFO buffer is NULL",
                 L"TraceOut|");
}

TEST(GetVersionValue, WithAWrongSignatureIsZero)
{
    LogCapture log;
    VS_FIXEDFILEINFO record{};
    record.dwSignature = 0xFEEF04BC;
    record.dwFileVersionMS = 0x00010002;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)(HandsOut(&record, sizeof record));

    EXPECT_TRUE(IsZero(Utils::GetVersionValue(L"C:\\a.exe")));

    EXPECT_LINES(log, L"TraceIn|Executable Complete Path = C:\\a.exe", L"Error|Signature not correct", L"TraceOut|");
}

TEST(GetVersionValue, ReadsNoFurtherThanTheRootBlockReaches)
{
    VS_FIXEDFILEINFO record{};
    record.dwSignature = 0xFEEF04BD;
    record.dwFileVersionMS = 0x00010002;
    record.dwFileVersionLS = 0x001E0004;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    IMPORT_HOOK(GetFileVersionInfoW)(Succeeds());
    IMPORT_HOOK(VerQueryValueW)(HandsOut(&record, 12));

    const VS_FIXEDFILEINFO version = Utils::GetVersionValue(L"C:\\a.exe");

    EXPECT_EQ(0x00010002u, version.dwFileVersionMS);
    EXPECT_EQ(0u, version.dwFileVersionLS);
}

TEST(GetBinaryVersion, IsTheVersionOfTheRunningProgram)
{
    LogCapture log;
    std::wstring version = L"old text";

    const std::wstring& returned = Utils::GetBinaryVersion(version);

    EXPECT_EQ(L"1.2.30.4", version);
    EXPECT_EQ(&version, &returned);
    EXPECT_RECORDS(log, L"TraceIn|Utils::GetBinaryVersion|", L"Verbose|Utils::GetBinaryVersion|File Version = 1.2.30.4",
                   L"TraceOut|Utils::GetBinaryVersion|");
}

TEST(GetBinaryVersion, AsksForTheProgramsPathInABufferOf260Characters)
{
    HMODULE module = GetModuleHandleW(L"kernel32.dll");
    DWORD size = 0;
    std::wstring asked;
    IMPORT_HOOK(GetModuleFileNameW)
    ([&](HMODULE moduleHandle, wchar_t* path, DWORD characters) {
        module = moduleHandle;
        size = characters;
        lstrcpyW(path, L"C:\\program.exe");
        return DWORD{14};
    });
    IMPORT_HOOK(GetFileVersionInfoSizeW)
    ([&](const wchar_t* path, DWORD*) {
        asked = path;
        return DWORD{0};
    });
    std::wstring version;

    Utils::GetBinaryVersion(version);

    EXPECT_EQ(nullptr, module);
    EXPECT_EQ(260u, size);
    EXPECT_EQ(L"C:\\program.exe", asked);
}

TEST(GetBinaryVersion, OfAProgramWithoutAVersionResourceIsZeroAndLogsSizeAndErrorCode)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)
    ([](auto...) {
        SetLastError(1813);
        return DWORD{0};
    });
    std::wstring version = L"old text";

    EXPECT_EQ(L"0.0.0.0", Utils::GetBinaryVersion(version));

    EXPECT_LINES(log, L"TraceIn|", L"Error|GetFileVersionInfoSize Return Value  = 0, Error Code = 1813 ",
                 L"Verbose|File Version = 0.0.0.0", L"TraceOut|");
}

TEST(GetBinaryVersion, WithoutMemoryIsZero)
{
    LogCapture log;
    IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
    std::wstring version;
    {
        const AllocationFault fault{0};
        Utils::GetBinaryVersion(version);
    }

    EXPECT_EQ(L"0.0.0.0", version);
    EXPECT_LINES(log, L"TraceIn|", L"Error|Version String Allocation failed", L"Verbose|File Version = 0.0.0.0",
                 L"TraceOut|");
}

TEST(GetBinaryVersion, LogsTheOtherFailuresAsForAnyFileUnderItsOwnName)
{
    VS_FIXEDFILEINFO wrong{};
    wrong.dwSignature = 1;
    const struct
    {
        BOOL read;
        BOOL found;
        void* block;
        UINT length;
        const wchar_t* line;
    } cases[] = {
        {FALSE, TRUE, &wrong, 52, L"Error|Utils::GetBinaryVersion|GetFileVersionInfo failed with error 32"},
        {TRUE, FALSE, &wrong, 52, L"Error|Utils::GetBinaryVersion|VerQueryValue failed with error 1812"},
        {TRUE, TRUE, &wrong, 0, L"Error|Utils::GetBinaryVersion|VerQueryValue returned size = 0"},
        {TRUE, TRUE, nullptr, 52, L"Error|Utils::GetBinaryVersion|VS_FIXEDFILEINFO buffer is NULL"},
        {TRUE, TRUE, &wrong, 52, L"Error|Utils::GetBinaryVersion|Signature not correct"},
    };
    for (const auto& failure : cases)
    {
        LogCapture log;
        IMPORT_HOOK(GetFileVersionInfoSizeW)(SizeOf100());
        IMPORT_HOOK(GetFileVersionInfoW)
        ([&](auto...) {
            SetLastError(32);
            return failure.read;
        });
        IMPORT_HOOK(VerQueryValueW)
        ([&](const void*, const wchar_t*, void** block, UINT* length) {
            *block = failure.block;
            *length = failure.length;
            SetLastError(1812);
            return failure.found;
        });
        std::wstring version;

        EXPECT_EQ(L"0.0.0.0", Utils::GetBinaryVersion(version));

        EXPECT_RECORDS(log, L"TraceIn|Utils::GetBinaryVersion|", failure.line,
                       L"Verbose|Utils::GetBinaryVersion|File Version = 0.0.0.0", L"TraceOut|Utils::GetBinaryVersion|");
    }
}

TEST(GetBinaryVersion, IsTimedWhenDiagnosticsAreOn)
{
    const auto log = LogCapture::Diagnostics();
    std::wstring version;

    Utils::GetBinaryVersion(version);

    const auto lines = log->LinesOf("Utils::GetBinaryVersion");
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(L"TraceOut|", lines[2]);
    EXPECT_EQ(0u, lines[3].find(L"Diag|Elapsed time = "));
}

TEST(FileVersionText, JoinsTheFourPartsHighWordsFirst)
{
    EXPECT_EQ(L"1.2.30.4", Utils::FileVersionText(0x00010002, 0x001E0004));
}

TEST(FileVersionText, OfZerosIsFourZeros)
{
    EXPECT_EQ(L"0.0.0.0", Utils::FileVersionText(0, 0));
}

TEST(FileVersionText, ShowsTheLargestPartsUnsigned)
{
    EXPECT_EQ(L"65535.65535.65535.65535", Utils::FileVersionText(0xFFFFFFFF, 0xFFFFFFFF));
}

// What WMI may hand out: properties of every VARIANT type, rows that end in any way; and any build file.
#include "tests/fuzz/FuzzRun.h"
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <winioctl.h>

#include <algorithm>
#include <array>
#include <string>

namespace
{

constexpr wchar_t kLetters[] = L"0123456789ABCUSx #;-_<.^>\0FBYTE#BUILDID#S001";

constexpr VARTYPE kTypes[] = {VT_EMPTY, VT_NULL,     VT_I2,    VT_I4,   VT_R4,      VT_R8,      VT_CY, VT_DATE,
                              VT_BSTR,  VT_DISPATCH, VT_ERROR, VT_BOOL, VT_UNKNOWN, VT_DECIMAL, VT_I1, VT_UI1,
                              VT_UI2,   VT_UI4,      VT_I8,    VT_UI8,  VT_INT,     VT_UINT};

BSTR SomeString(CFuzzSource& source)
{
    if (source.OneIn(10))
    {
        return nullptr;
    }
    const std::wstring text = source.Text(source.OneIn(50) ? 5000 : 40, {kLetters, std::size(kLetters) - 1});
    return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

SAFEARRAY* SomeArray(CFuzzSource& source, VARTYPE type)
{
    SAFEARRAYBOUND bounds[2]{{source.Below(5), static_cast<LONG>(source.Below(7)) - 3}, {source.Below(3), 0}};
    SAFEARRAY* const array = SafeArrayCreate(type, 1 + source.Below(2), bounds);
    void* elements = nullptr;
    if (array == nullptr || FAILED(SafeArrayAccessData(array, &elements)))
    {
        return array;
    }
    ULONG count = 1;
    for (USHORT i = 0; i < array->cDims; ++i)
    {
        count *= array->rgsabound[i].cElements;
    }
    for (ULONG i = 0; i < count && type == VT_BSTR; ++i)
    {
        static_cast<BSTR*>(elements)[i] = SomeString(source);
    }
    SafeArrayUnaccessData(array);
    return array;
}

void MakeVariant(CFuzzSource source, VARIANT* value)
{
    const VARTYPE type = source.OneIn(3) ? VARTYPE{VT_BSTR} : source.Pick(kTypes);
    static ULONGLONG s_referenced[4];
    switch (source.Below(6))
    {
    case 0:
        V_VT(value) = static_cast<VARTYPE>(VT_ARRAY | (type == VT_EMPTY || type == VT_NULL ? VT_I4 : int{type}));
        V_ARRAY(value) = source.OneIn(6) ? nullptr : SomeArray(source, static_cast<VARTYPE>(V_VT(value) & VT_TYPEMASK));
        return;
    case 1:
        V_VT(value) = static_cast<VARTYPE>(VT_BYREF | (type == VT_EMPTY || type == VT_NULL ? VT_I4 : int{type}));
        V_BYREF(value) = source.OneIn(3) ? nullptr : s_referenced;
        return;
    default:
        break;
    }
    V_UI8(value) = 0;
    if (type == VT_BSTR)
    {
        V_BSTR(value) = SomeString(source);
    }
    else if (type == VT_DECIMAL)
    {
        V_DECIMAL(value) = DECIMAL{};
    }
    else if (type != VT_UNKNOWN && type != VT_DISPATCH)
    {
        V_UI8(value) = source.Next();
    }
    V_VT(value) = type;
}

// Answers with any value; now and then with a failure or an exception.
FakeAnswer SomeAnswer(CFuzzSource& source, bool mayThrow)
{
    if (source.OneIn(12))
    {
        return source.OneIn(2) || !mayThrow ? Failure(static_cast<HRESULT>(0x80040000 | source.Below(0x10000)))
                                            : Throws(static_cast<HRESULT>(0x80040000 | source.Below(0x10000)));
    }
    const std::uint64_t seed = source.Next();
    return [seed](VARIANT* value) {
        MakeVariant(CFuzzSource{1, seed}, value);
        return S_OK;
    };
}

FakeQuery SomeQuery(CFuzzSource& source, const FakeQuery& usual)
{
    FakeQuery query = usual;
    query.start = source.OneIn(30) ? E_FAIL : S_OK;
    query.noEnumerator = source.OneIn(30);
    query.end = source.OneIn(10) ? static_cast<HRESULT>(WBEM_E_FAILED) : static_cast<HRESULT>(WBEM_S_FALSE);
    query.rowBesideEnd = source.OneIn(20);
    if (source.OneIn(10))
    {
        query.rows.resize(source.Below(3));
    }
    for (FakeRow& row : query.rows)
    {
        for (auto& [name, answers] : row)
        {
            if (source.OneIn(2))
            {
                // Only the reader of single properties expects exceptions.
                const bool mayThrow = name != L"OEMStringArray";
                answers = {SomeAnswer(source, mayThrow), SomeAnswer(source, mayThrow)};
            }
        }
    }
    return query;
}

} // namespace

TEST(FuzzWmi, OneTextOfAnyValue)
{
    CFuzzRun run{"wmi-text", 3000};
    FakeWmi wmi;
    Reader reader;
    run.Each([&](CFuzzSource& source) {
        const std::uint64_t seed = source.Next();
        VARIANT same{};
        MakeVariant(CFuzzSource{1, seed}, &same);
        const std::wstring expected = V_VT(&same) == VT_BSTR && V_BSTR(&same) != nullptr ? V_BSTR(&same) : L"";
        VariantClear(&same);
        IWbemClassObject* const row = wmi.NewRow({{L"Name", {[seed](VARIANT* value) {
                                                       MakeVariant(CFuzzSource{1, seed}, value);
                                                       return S_OK;
                                                   }}}});
        std::wstring value = L"old";

        EXPECT_EQ(S_OK, reader.GetBIOSValue(row, L"Name", value, false));

        EXPECT_EQ(expected, value);
        row->Release();
        wmi.events.clear();
    });
}

TEST(FuzzWmi, OneNumberOfAnyValue)
{
    CFuzzRun run{"wmi-number", 3000};
    FakeWmi wmi;
    Reader reader;
    run.Each([&](CFuzzSource& source) {
        DWORD low = 0;
        const std::uint64_t seed = source.Next();
        IWbemClassObject* const row = wmi.NewRow({{L"IsSet", {[seed, &low](VARIANT* value) {
                                                       MakeVariant(CFuzzSource{1, seed}, value);
                                                       low = V_UI4(value);
                                                       return S_OK;
                                                   }}}});
        DWORD value = 77;

        EXPECT_EQ(S_OK, reader.GetBIOSValue(row, L"IsSet", &value));

        EXPECT_EQ(low, value);
        row->Release();
        wmi.events.clear();
    });
}

TEST(FuzzWmi, WholeReadingOfAnyValues)
{
    CFuzzRun run{"wmi-reading", 500};
    FakeWmi wmi;
    wmi.Healthy();
    const auto usual = wmi.namespaces;
    run.Each([&](CFuzzSource& source) {
        for (auto& [path, space] : wmi.namespaces)
        {
            space.connect = source.OneIn(60) ? E_FAIL : S_OK;
            space.noServices = source.OneIn(60);
            space.blanket = source.OneIn(60) ? E_FAIL : S_OK;
            space.queries.clear();
            for (const auto& [query, answer] : usual.at(path).queries)
            {
                space.queries[query] = SomeQuery(source, answer);
            }
        }
        {
            Reader reader;
            static_cast<void>(reader.ReadSysInfo());
            const std::wstring& text = reader.GetSysInfoText();
            std::size_t separators = 0;
            for (std::size_t at = text.find(L"<.^.>"); at != std::wstring::npos; at = text.find(L"<.^.>", at + 5))
            {
                ++separators;
            }
            EXPECT_TRUE(text.empty() || separators >= 9) << separators;
        }
        EXPECT_EQ(0, wmi.Alive());
        wmi.events.clear();
        wmi.waits.clear();
    });
}

namespace
{

// The system drive of these tests.
class BuildFileDrive
{
  public:
    BuildFileDrive()
    {
        wchar_t folder[MAX_PATH]{};
        GetTempPathW(MAX_PATH, folder);
        m_strRoot = std::wstring{folder} + L"FuzzDrive" + std::to_wstring(GetCurrentProcessId());
        m_wmi.noDrive = false;
        SetEnvironmentVariableW(L"SystemDrive", m_strRoot.c_str());
        for (const wchar_t* part : {L"", L"\\Quil", L"\\Quil\\support"})
        {
            EXPECT_TRUE(CreateDirectoryW((m_strRoot + part).c_str(), nullptr)) << GetLastError();
        }
    }
    ~BuildFileDrive()
    {
        DeleteFileW(Path().c_str());
        RemoveDirectoryW(Path().c_str());
        for (const wchar_t* part : {L"\\Quil\\support", L"\\Quil", L""})
        {
            RemoveDirectoryW((m_strRoot + part).c_str());
        }
        SetEnvironmentVariableW(L"SystemDrive", L"C:");
    }
    BuildFileDrive(const BuildFileDrive&) = delete;
    BuildFileDrive& operator=(const BuildFileDrive&) = delete;

    std::wstring Path() const { return m_strRoot + L"\\Quil\\support\\build.txt"; }

    // A file that begins with these bytes and goes on with NULs.
    void Write(const std::string& bytes, LONGLONG size)
    {
        const HANDLE file =
            CreateFileW(Path().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, file) << GetLastError();
        DWORD count = 0;
        DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &count, nullptr);
        EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr));
        LARGE_INTEGER end{};
        end.QuadPart = (std::max)(size, static_cast<LONGLONG>(bytes.size()));
        EXPECT_TRUE(SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file)) << GetLastError();
        CloseHandle(file);
    }

  private:
    std::wstring m_strRoot;
    FakeWmi m_wmi;
};

// The first line up to a NUL, for ASCII bytes. Nothing for a file that text mode sees as empty.
struct ExpectedBuild
{
    bool bRead;
    std::wstring strBuild;
};
ExpectedBuild Expected(std::string bytes)
{
    bytes.resize((std::min)(bytes.find('\x1a'), bytes.size())); // the end of a text file
    const std::size_t end = bytes.find('\n');
    std::string line = bytes.substr(0, end);
    if (end != std::string::npos && line.ends_with('\r'))
    {
        line.pop_back();
    }
    line.resize((std::min)(line.find('\0'), line.size()));
    return {!bytes.empty(), {line.begin(), line.end()}};
}

} // namespace

TEST(FuzzBuildFile, AnyBytes)
{
    CFuzzRun run{"build-file", 500};
    BuildFileDrive drive;
    run.Each([&](CFuzzSource& source) {
        std::string bytes = source.OneIn(4) ? source.Bytes(source.Below(3000)) : "TESTBUILD01#S001#D001\r\nmore\r\n";
        source.Mutate(bytes);
        const bool ascii = source.OneIn(2);
        if (ascii)
        {
            std::transform(bytes.begin(), bytes.end(), bytes.begin(),
                           [](char c) { return static_cast<char>(c & 0x7f); });
        }
        run.WriteDown(bytes);
        drive.Write(bytes, 0);
        Reader reader;
        reader.m_strBuild = L"old";

        const bool read = reader.ReadBuildFromFile();

        EXPECT_TRUE(read || reader.m_strBuild == L"old");
        if (ascii)
        {
            const ExpectedBuild expected = Expected(bytes);
            EXPECT_EQ(expected.bRead, read);
            EXPECT_EQ(expected.bRead ? expected.strBuild : L"old", reader.m_strBuild);
        }
    });
}

TEST(FuzzBuildFile, AGigabyteBehindTheFirstLine)
{
    BuildFileDrive drive;
    drive.Write("TESTBUILD01\r\n", LONGLONG{1} << 30);
    Reader reader;

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"TESTBUILD01", reader.m_strBuild);
}

TEST(FuzzBuildFile, ManyMegabytesInOneLine)
{
    CFuzzRun run{"build-line", 1};
    BuildFileDrive drive;
    drive.Write("TESTBUILD01", run.IsLong() ? LONGLONG{1} << 30 : LONGLONG{1} << 26);
    Reader reader;

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"TESTBUILD01", reader.m_strBuild);
}

TEST(FuzzBuildFile, AFolderOfThatName)
{
    BuildFileDrive drive;
    ASSERT_TRUE(CreateDirectoryW(drive.Path().c_str(), nullptr));
    Reader reader;
    reader.m_strBuild = L"old";

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"old", reader.m_strBuild);
}

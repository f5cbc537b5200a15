// IsHardwareNodePresent: what the caller gets and what the log says, for each outcome of the device query.
#include "utils/HardwareNode.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <setupapi.h>

#include <cwchar>
#include <string>
#include <vector>

namespace
{
const HDEVINFO kDevices = reinterpret_cast<HDEVINFO>(0x81810);

auto GivesTheSet()
{
    return [](auto...) { return kDevices; };
}
auto Succeeds()
{
    return [](auto...) { return TRUE; };
}
auto FailsWith(DWORD error)
{
    return [error](auto...) {
        SetLastError(error);
        return FALSE;
    };
}

// A device node in the registry, as the bus driver leaves it there; removed at the end of the scope.
class DeviceNode
{
  public:
    explicit DeviceNode(const std::wstring& id) : m_key{L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\" + id}
    {
        const std::wstring instance = m_key + L"\\0";
        const std::wstring classId = L"{4d36e97d-e325-11ce-bfc1-08002be10318}";
        const std::wstring hardwareId = L"ACPI\\" + id + std::wstring(2, L'\0');
        m_made = Set(instance, L"ClassGUID", REG_SZ, classId) && Set(instance, L"HardwareID", REG_MULTI_SZ, hardwareId);
    }
    ~DeviceNode() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_key.c_str()); }
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    bool Made() const noexcept { return m_made; }

  private:
    static bool Set(const std::wstring& key, const wchar_t* name, DWORD type, const std::wstring& data)
    {
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, data.c_str(),
                               static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    }

    std::wstring m_key;
    bool m_made;
};

// A driver description in the system's folder that matches one hardware id; removed at the end of the scope.
class DriverFile
{
  public:
    explicit DriverFile(const std::string& id)
    {
        wchar_t windows[MAX_PATH]{};
        GetWindowsDirectoryW(windows, MAX_PATH);
        m_path = std::wstring{windows} + L"\\inf\\quil_" + std::wstring{id.begin(), id.end()} + L".inf";
        const std::string text = "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=System\r\n"
                                 "ClassGuid={4d36e97d-e325-11ce-bfc1-08002be10318}\r\nProvider=%Mfg%\r\n"
                                 "DriverVer=03/05/2024,1.2.30.4\r\n[Manufacturer]\r\n%Mfg%=Models,NTamd64\r\n"
                                 "[Models.NTamd64]\r\n%Desc%=Install,ACPI\\" +
                                 id +
                                 "\r\n[Install.NT]\r\n[Strings]\r\nMfg=\"Quil Test\"\r\nDesc=\"Quil System Node\"\r\n";
        const HANDLE file =
            CreateFileW(m_path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD written = 0;
        m_made = file != INVALID_HANDLE_VALUE &&
                 WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE;
        CloseHandle(file);
    }
    ~DriverFile() { DeleteFileW(m_path.c_str()); }
    DriverFile(const DriverFile&) = delete;
    DriverFile& operator=(const DriverFile&) = delete;

    bool Made() const noexcept { return m_made; }

  private:
    std::wstring m_path;
    bool m_made;
};
} // namespace

TEST(IsHardwareNodePresent, UnknownNodeGivesZeroAndSaysSoOnExit)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)
    ([](auto...) {
        SetLastError(0x1EF);
        return INVALID_HANDLE_VALUE;
    });
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_RECORDS(log, L"TraceIn|Utils::IsHardwareNodePresent|Node = ACPI\\QUIL000C",
                   L"Error|Utils::IsHardwareNodePresent|SetupDiGetClassDevs failed (may due to non-availability of "
                   L"node) with error: 1ef",
                   L"TraceOut|Utils::IsHardwareNodePresent|Node - ACPI\\QUIL000C is not present");
    EXPECT_EQ(0, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, AsksForAllClassesOfTheEnumerator)
{
    const GUID someClass{};
    const GUID* deviceClass = &someClass;
    std::wstring enumerator;
    HWND window = reinterpret_cast<HWND>(1);
    DWORD flags = 0;
    IMPORT_HOOK(SetupDiGetClassDevsW)
    ([&](const GUID* classGuid, const wchar_t* node, HWND parent, DWORD which) {
        deviceClass = classGuid;
        enumerator = node;
        window = parent;
        flags = which;
        return INVALID_HANDLE_VALUE;
    });

    Utils::IsHardwareNodePresent(L"ACPI\\QUIL0003");

    EXPECT_EQ(nullptr, deviceClass);
    EXPECT_EQ(L"ACPI\\QUIL0003", enumerator);
    EXPECT_EQ(nullptr, window);
    EXPECT_EQ(4u, flags);
}

TEST(IsHardwareNodePresent, WithoutADeviceGivesZeroAndSaysSoOnExit)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(FailsWith(259));
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIL000C",
                 L"Error|SetupDiEnumDeviceInfo failed (may due to non-availability of node) with error: 103",
                 L"TraceOut|Node - ACPI\\QUIL000C is not present");
    EXPECT_EQ(1, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, WithoutADriverListGivesZeroWithAnEmptyExitRecord)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(Succeeds());
    IMPORT_HOOK(SetupDiBuildDriverInfoList)(FailsWith(0xE0000203));
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIL000C",
                 L"Warning|SetupDiBuildDriverInfoList failed (may due to non-availability of driver in Node - "
                 L"ACPI\\QUIL000C) with error: e0000203",
                 L"TraceOut|");
    EXPECT_EQ(1, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, WithADriverGivesOneAndLogsTheDriver)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(Succeeds());
    IMPORT_HOOK(SetupDiBuildDriverInfoList)(Succeeds());
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());
    IMPORT_HOOK(SetupDiEnumDriverInfoW)
    ([](HDEVINFO, SP_DEVINFO_DATA*, DWORD, DWORD, SP_DRVINFO_DATA_W* driver) {
        driver->DriverType = 2;
        std::wcscpy(driver->Description, L"Quil System Node");
        std::wcscpy(driver->MfgName, L"Quil Inc");
        std::wcscpy(driver->ProviderName, L"Quil Provider");
        driver->DriverVersion = 0x00010002001EFFFFull;
        return TRUE;
    });

    EXPECT_EQ(1, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIL000C",
                 L"Verbose|Driver Found : Description: Quil System Node, MfgName : Quil Inc, ProviderName : Quil "
                 L"Provider, Driver Type : 2, Version : 1.2.30.65535",
                 L"TraceOut|Node - ACPI\\QUIL000C is present");
    EXPECT_EQ(1, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, LooksAtTheFirstDeviceAndItsFirstCompatibleDriver)
{
    std::vector<HDEVINFO> sets;
    DWORD device = 99;
    DWORD deviceSize = 0;
    DWORD listType = 0;
    DWORD driverType = 0;
    DWORD driver = 99;
    DWORD driverSize = 0;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)
    ([&](HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) {
        sets.push_back(set);
        device = index;
        deviceSize = data->cbSize;
        data->DevInst = 77;
        return TRUE;
    });
    IMPORT_HOOK(SetupDiBuildDriverInfoList)
    ([&](HDEVINFO set, SP_DEVINFO_DATA* data, DWORD type) {
        sets.push_back(set);
        listType = type;
        return data->DevInst == 77;
    });
    IMPORT_HOOK(SetupDiEnumDriverInfoW)
    ([&](HDEVINFO set, SP_DEVINFO_DATA* data, DWORD type, DWORD index, SP_DRVINFO_DATA_W* information) {
        sets.push_back(set);
        driverType = type;
        driver = index;
        driverSize = information->cbSize;
        return data->DevInst == 77;
    });
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)
    ([&](HDEVINFO set) {
        sets.push_back(set);
        return TRUE;
    });

    EXPECT_EQ(1, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_EQ((std::vector<HDEVINFO>{kDevices, kDevices, kDevices, kDevices}), sets);
    EXPECT_EQ(0u, device);
    EXPECT_EQ(32u, deviceSize);
    EXPECT_EQ(2u, listType);
    EXPECT_EQ(2u, driverType);
    EXPECT_EQ(0u, driver);
    EXPECT_EQ(sizeof(SP_DRVINFO_DATA_W), driverSize);
}

TEST(IsHardwareNodePresent, WithoutAnyCompatibleDriverGivesZeroYetTheExitRecordSaysPresent)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(Succeeds());
    IMPORT_HOOK(SetupDiBuildDriverInfoList)(Succeeds());
    IMPORT_HOOK(SetupDiEnumDriverInfoW)(FailsWith(259));
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIL000C", L"Warning|No driver installed in this Node ACPI\\QUIL000C\n",
                 L"TraceOut|Node - ACPI\\QUIL000C is present");
    EXPECT_EQ(1, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, WhoseDriversCannotBeListedGivesZeroYetTheExitRecordSaysPresent)
{
    LogCapture log;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(Succeeds());
    IMPORT_HOOK(SetupDiBuildDriverInfoList)(Succeeds());
    IMPORT_HOOK(SetupDiEnumDriverInfoW)(FailsWith(87));
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)(Succeeds());

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIL000C", L"Error|SetupDiEnumDriverInfo failed with error 87",
                 L"TraceOut|Node - ACPI\\QUIL000C is present");
    EXPECT_EQ(1, hook_SetupDiDestroyDeviceInfoList.Calls());
}

TEST(IsHardwareNodePresent, DestroysTheDeviceListBeforeTheExitRecord)
{
    LogCapture log;
    std::size_t linesWhenDestroyed = 0;
    IMPORT_HOOK(SetupDiGetClassDevsW)(GivesTheSet());
    IMPORT_HOOK(SetupDiEnumDeviceInfo)(Succeeds());
    IMPORT_HOOK(SetupDiBuildDriverInfoList)(Succeeds());
    IMPORT_HOOK(SetupDiEnumDriverInfoW)(FailsWith(87));
    IMPORT_HOOK(SetupDiDestroyDeviceInfoList)
    ([&](HDEVINFO) {
        linesWhenDestroyed = log.Lines().size();
        return TRUE;
    });

    Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C");

    EXPECT_EQ(2u, linesWhenDestroyed);
    EXPECT_EQ(3u, log.Lines().size());
}

TEST(IsHardwareNodePresent, IsTimedWhenDiagnosticsAreOn)
{
    const auto log = LogCapture::Diagnostics();
    IMPORT_HOOK(SetupDiGetClassDevsW)([](auto...) { return INVALID_HANDLE_VALUE; });

    Utils::IsHardwareNodePresent(L"ACPI\\QUIL000C");

    const auto lines = log->LinesOf("Utils::IsHardwareNodePresent");
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(0u, lines[3].find(L"Diag|Elapsed time = "));
}

TEST(IsHardwareNodePresent, RealNodeThatIsMissingGivesZero)
{
    LogCapture log;

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIT0000"));

    const auto lines = log.Lines();
    EXPECT_EQ(L"TraceOut|Node - ACPI\\QUIT0000 is not present", lines.back());
}

TEST(IsHardwareNodePresent, RealNodeWithoutADriverGivesZero)
{
    const DeviceNode node{L"QUIT0001"};
    if (!node.Made())
    {
        GTEST_SKIP() << "device nodes can be made only where the registry lets the test write them";
    }
    LogCapture log;

    EXPECT_EQ(0, Utils::IsHardwareNodePresent(L"ACPI\\QUIT0001"));

    EXPECT_LINES(log, L"TraceIn|Node = ACPI\\QUIT0001", L"Warning|No driver installed in this Node ACPI\\QUIT0001\n",
                 L"TraceOut|Node - ACPI\\QUIT0001 is present");
}

TEST(IsHardwareNodePresent, RealNodeWithADriverGivesOne)
{
    const DeviceNode node{L"QUIT0002"};
    const DriverFile driver{"QUIT0002"};
    if (!node.Made() || !driver.Made())
    {
        GTEST_SKIP() << "device nodes can be made only where the registry lets the test write them";
    }
    LogCapture log;

    EXPECT_EQ(1, Utils::IsHardwareNodePresent(L"ACPI\\QUIT0002"));

    const auto lines = log.Lines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(0u, lines[1].find(L"Verbose|Driver Found : Description: Quil System Node, MfgName : Quil Test, "
                                L"ProviderName : Quil Test, Driver Type : 2, Version : "));
    EXPECT_EQ(L"TraceOut|Node - ACPI\\QUIT0002 is present", lines[2]);
}

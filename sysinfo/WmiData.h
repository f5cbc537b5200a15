// The system-information reader and its record: model, firmware, memory, processor, serial number, build and BIOS
// state, read from WMI once and rendered as one line of text.
// The service owns the one object: made and destroyed with the service object, which sets COM up for the process.
// ReadSysInfo runs on the service's reading thread and alone writes the members; others take the finished text only.
#pragma once

#include <windows.h>

#include <atomic>
#include <optional>
#include <string>

struct IWbemClassObject;
struct IWbemLocator;
struct IWbemServices;

namespace Quil::Shared
{
class CTraceScope;
class CLogName;
} // namespace Quil::Shared

namespace RpcServer
{

class WMIData
{
  public:
    // Initialises COM and its security for the process; a failure is logged only.
    WMIData();
    ~WMIData();
    WMIData(const WMIData&) = delete;
    WMIData& operator=(const WMIData&) = delete;

    // Reads everything and renders the text. A failure code when the reading could not go on; also without one the text
    // stays empty when the maker's BIOS provider is missing. Lets nothing but exhausted memory through as an exception.
    HRESULT ReadSysInfo();

    // The rendered text, empty until it is complete. Any thread may ask at any time.
    const std::wstring& GetSysInfoText() const noexcept;

  protected:
    // Reads one property with retries; the result of the last attempt. On failure the value is left as it was.
    HRESULT GetBIOSValue(IWbemClassObject* object, const wchar_t* property, DWORD* value);
    HRESULT GetBIOSValue(IWbemClassObject* object, const wchar_t* property, std::wstring& value, bool retry);

    // Readers of the maker's BIOS namespace; E_FAIL without services.
    HRESULT ReadFeatureByte(IWbemServices* services);
    HRESULT ReadBiosPasswordStatusLegacy(IWbemServices* services, BYTE* status);
    HRESULT ReadBiosPasswordStatusVeralock(IWbemServices* services, BYTE* status);
    // Both password readers, their states in one byte; the OR of their results.
    HRESULT ReadBiosPasswordStatus(IWbemServices* services);

    // Takes the build from the first line of the build file; false, with the build unchanged, without such a file.
    bool ReadBuildFromFile();

    // Renders the members into the text; an empty member becomes "null".
    void FormatSysInfoString();

    std::wstring m_strSystemProductName;
    std::wstring m_strSystemSKU;
    std::wstring m_strBIOSVersion; // version and release date
    std::wstring m_strBaseBoardVersion;
    std::wstring m_strMemory;
    std::wstring m_strProcessorName;
    std::wstring m_strSerialNumber;
    std::wstring m_strBuild;
    std::wstring m_strFeatureByte;
    std::wstring m_strBiosPasswordStatus;
    std::wstring m_strSystemFamily;
    LONGLONG m_llInstalledMemory{0}; // bytes, MiB once the usable memory is known
    bool m_bFamilyCodeMatch{false};
    bool m_bUseCtrlAltJ{false};
    std::wstring m_strSysInfo;
    std::atomic<bool> m_bRendered{false}; // set when m_strSysInfo is complete

  private:
    const std::wstring m_strNotYet; // what is handed out before m_bRendered

    // One namespace each; the result with which the whole reading ends, nothing when it goes on.
    std::optional<HRESULT> ReadFirmware(Quil::Shared::CTraceScope& trace, IWbemLocator* locator);
    std::optional<HRESULT> ReadComputer(const Quil::Shared::CLogName& log, IWbemLocator* locator);
    // The two answers of the BIOS readers; rendering follows only when the namespace could be opened.
    HRESULT ReadBios(const Quil::Shared::CLogName& log, IWbemServices* services);

    void ReadSystemInformation(const Quil::Shared::CLogName& log, IWbemClassObject* row);
    void ReadMemoryModule(const Quil::Shared::CLogName& log, IWbemClassObject* row);
    void ReadComputerSystem(const Quil::Shared::CLogName& log, IWbemClassObject* row);
    void TakeOemStrings(const Quil::Shared::CLogName& log, const std::wstring& oemStrings);
};

} // namespace RpcServer

/// \file
/// The system-information reader and its record: model, firmware, memory, processor, serial number, build and BIOS
/// state, read from WMI once and rendered as one line of text.
/// The service owns the one object: made and destroyed with the service object, which sets COM up for the process.
/// ReadSysInfo runs on the service's reading thread and alone writes the members; others take the finished text only.
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

/// What one reading found.
class WMIData
{
  public:
    /// Initialises COM and its security for the process; a failure is logged only.
    WMIData();
    /// Leaves COM, on the thread of the constructor.
    ~WMIData();
    WMIData(const WMIData&) = delete;
    WMIData& operator=(const WMIData&) = delete;

    /// Reads everything and renders the text. A failure code when the reading could not go on; also without one the
    /// text stays empty when the maker's BIOS provider is missing. Lets nothing but exhausted memory through as an
    /// exception.
    HRESULT ReadSysInfo();

    /// The rendered text, empty until it is complete. Any thread may ask at any time.
    const std::wstring& GetSysInfoText() const noexcept;

  protected:
    /// Reads one property with retries; the result of the last attempt. A failure takes three seconds and more, and
    /// leaves the value as it was. A number is the low 32 bits of whatever the property holds.
    HRESULT GetBIOSValue(IWbemClassObject* object, const wchar_t* property, DWORD* value);
    /// The same for a text; what is no text reads as empty. With retry an empty one is read again like a
    /// failed one, and in the end counts as read.
    HRESULT GetBIOSValue(IWbemClassObject* object, const wchar_t* property, std::wstring& value, bool retry);

    /// Reads m_strFeatureByte out of the maker's BIOS namespace; E_FAIL without services.
    HRESULT ReadFeatureByte(IWbemServices* services);
    /// The setup passwords: each row shifts the status by one bit and sets the lowest when there is one. E_FAIL without
    /// services.
    HRESULT ReadBiosPasswordStatusLegacy(IWbemServices* services, BYTE* status);
    /// The local access key: 0x20 when there is one, else 0. E_FAIL without services.
    HRESULT ReadBiosPasswordStatusVeralock(IWbemServices* services, BYTE* status);
    /// Both password readers; m_strBiosPasswordStatus gets the low nibble of the first and the high one of the second.
    /// The OR of their results.
    HRESULT ReadBiosPasswordStatus(IWbemServices* services);

    /// Takes the build from the first line of the build file; false, with the build unchanged, without such a file.
    bool ReadBuildFromFile();

    /// Renders the members into the text; an empty member becomes "null".
    void FormatSysInfoString();

    std::wstring m_strSystemProductName;  ///< of MS_SystemInformation
    std::wstring m_strSystemSKU;          ///< of MS_SystemInformation
    std::wstring m_strBIOSVersion;        ///< version and release date
    std::wstring m_strBaseBoardVersion;   ///< of MS_SystemInformation
    std::wstring m_strMemory;             ///< installed and usable, as MemoryText has it
    std::wstring m_strProcessorName;      ///< of the last processor
    std::wstring m_strSerialNumber;       ///< of the PC
    std::wstring m_strBuild;              ///< of the build file, else of the OEM strings; one blank without
    std::wstring m_strFeatureByte;        ///< of the BIOS namespace, else of the OEM strings; one blank without
    std::wstring m_strBiosPasswordStatus; ///< "0x" and a byte
    std::wstring m_strSystemFamily;       ///< of MS_SystemInformation; not rendered
    LONGLONG m_llInstalledMemory{0};      ///< bytes, MiB once the usable memory is known
    bool m_bFamilyCodeMatch{false};       ///< the family code is one of kFamilyCodes; not rendered
    bool m_bUseCtrlAltJ{false};           ///< the option code is one of kSkuOptionCodes; not rendered
    std::wstring m_strSysInfo;            ///< written once
    std::atomic<bool> m_bRendered{false}; ///< set when m_strSysInfo is complete

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

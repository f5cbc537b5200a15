/// \file
/// A log and its numbered old files read as one, oldest first, while other processes write and rotate it:
///
///     App_0002.log (oldest)   App_0001.log   App.log (live)      a rotation moves each one to the left
///
/// A file is open only while a piece of it is read, never while the caller is at work, and others may do anything with
/// it meanwhile; it is found again by what it is, not by its name. One thread uses an object.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace HotKey
{

/// What a file is, whatever its name, as long as it exists.
struct CFileIdentity
{
    DWORD dwVolume;         ///< serial number
    std::uint64_t ullIndex; ///< unique on the volume
    /// True for the same file.
    bool operator==(const CFileIdentity&) const = default;
};

/// A place in a log, from which on it is read.
class CLogFiles
{
  public:
    /// livePath: the file without a number, which need not exist.
    explicit CLogFiles(std::wstring livePath);

    /// Whether there is a file to read at the moment: 0, or why not.
    DWORD Look();

    /// What Read came to.
    enum class Step
    {
        Bytes,    ///< some were read
        NextFile, ///< nothing more comes from the file at hand: what is read next is another one's
        End       ///< nothing more for now
    };
    /// Reads on. bytes counts for Step::Bytes only. Waits while a rotation goes on.
    Step Read(std::string& bytes);

  private:
    // A file as the folder shows it; a rotated one keeps size and time for ever.
    struct CEntry
    {
        std::wstring strPath;
        CFileIdentity identity;
        std::uint64_t ullSize;
        std::uint64_t ullLastWrite;
    };
    // The file at hand. The head tells it from a later file that got its index.
    struct CCurrent
    {
        std::wstring strPath; // where it was last
        CFileIdentity identity;
        std::uint64_t ullPosition;
        std::string strHead;
    };
    enum class Piece
    {
        Read,
        AtEnd,
        Elsewhere, // there is none, or another file, at the place where it was last
        Gone       // it was emptied, or a later file got its index
    };

    std::vector<CEntry> ListFiles() const;
    bool IsRotating() const;
    std::vector<CEntry> ListSettledFiles();
    Piece ReadPiece(std::string& bytes);
    bool IsDone(const CEntry& entry) const;

    const std::wstring m_strLive;
    std::wstring m_strFolder; // with the backslash at the end
    std::wstring m_strBase;   // file name without extension
    bool m_bLeftovers{false}; // the temporary files of a rotation stay: it was cut short
    std::optional<CCurrent> m_current;
    std::vector<CEntry> m_vecDone; // older than the file at hand, as they were when it came up
};

/// Where the service of this PC logs: the first of them that exists is its log.
std::vector<std::wstring> ServiceLogPaths();
/// That one, or where the first will be.
std::wstring ServiceLogPath();

} // namespace HotKey

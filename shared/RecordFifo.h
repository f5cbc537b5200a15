/// \file
/// Log records in order of arrival, packed into blocks that are used again: a record costs some copying and no
/// allocation of its own. No locks: the queue that owns it has one.
#pragma once

#include "shared/LogListener.h"

#include <cstddef>
#include <deque>
#include <memory>

namespace Quil::Shared
{

/// Takes records at one end and gives them at the other.
class CRecordFifo
{
  public:
    /// Appends a copy. Throws std::bad_alloc and leaves everything as it was.
    void Append(const CqlLogListener::LogData& record);
    /// Moves the oldest record into the given one; false when there is none. A record that memory does not suffice for
    /// is dropped with std::bad_alloc.
    bool Take(CqlLogListener::LogData& record);
    /// Drops all records and gives their memory back.
    void Clear() noexcept;

    /// True without records.
    bool IsEmpty() const noexcept { return m_nCount == 0; }
    /// Records in it.
    std::size_t Count() const noexcept { return m_nCount; }

  private:
    struct Block
    {
        std::unique_ptr<std::byte[]> pBytes;
        std::size_t nCapacity;
        std::size_t nBegin; // of the oldest record
        std::size_t nEnd;   // of the newest one
    };

    std::deque<Block> m_blocks; // the last one takes new records
    Block m_spare{};            // one empty block, so that a short queue never allocates
    std::size_t m_nCount{0};
};

} // namespace Quil::Shared

#include "shared/RecordFifo.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

// A record is preceded by the size that it takes.
constexpr std::size_t kSizeField = sizeof(std::size_t);

} // namespace

void CRecordFifo::Append(const CqlLogListener::LogData& record)
{
    const std::size_t size = kSizeField + record.PackedSize();
    if (m_nCount == 0 && !m_blocks.empty())
    {
        m_blocks.front().nBegin = 0;
        m_blocks.front().nEnd = 0;
    }
    if (m_blocks.empty() || m_blocks.back().nCapacity - m_blocks.back().nEnd < size)
    {
        if (m_spare.nCapacity >= size)
        {
            m_blocks.push_back(std::move(m_spare));
            m_spare = {};
        }
        else
        {
            const std::size_t capacity = std::max(size, kBlockSize);
            // Without initialisation: the bytes are written before they are read.
            m_blocks.push_back({std::unique_ptr<std::byte[]>{new std::byte[capacity]}, capacity, 0, 0});
        }
    }
    Block& block = m_blocks.back();
    std::byte* const to = block.pBytes.get() + block.nEnd;
    std::memcpy(to, &size, kSizeField);
    record.Pack(to + kSizeField);
    block.nEnd += size;
    ++m_nCount;
}

bool CRecordFifo::Take(CqlLogListener::LogData& record)
{
    if (m_nCount == 0)
    {
        return false;
    }
    if (m_blocks.front().nBegin == m_blocks.front().nEnd)
    {
        m_spare = std::move(m_blocks.front());
        m_spare.nBegin = 0;
        m_spare.nEnd = 0;
        m_blocks.pop_front();
    }
    Block& block = m_blocks.front();
    const std::byte* const from = block.pBytes.get() + block.nBegin;
    std::size_t size = 0;
    std::memcpy(&size, from, kSizeField);
    block.nBegin += size;
    --m_nCount;
    record.Unpack(from + kSizeField);
    return true;
}

void CRecordFifo::Clear() noexcept
{
    m_blocks.clear();
    m_nCount = 0;
}

} // namespace Quil::Shared

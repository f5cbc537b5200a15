// The far end of the endpoint without an RPC run time: bytes in, bytes out.
// Wine serves "ncalrpc" on a named pipe with the connection-oriented protocol; Windows does not, so these tests run
// under Wine only.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline std::uint32_t Number32(const Bytes& bytes, std::size_t offset)
{
    return static_cast<std::uint32_t>(bytes.at(offset)) | static_cast<std::uint32_t>(bytes.at(offset + 1)) << 8 |
           static_cast<std::uint32_t>(bytes.at(offset + 2)) << 16 |
           static_cast<std::uint32_t>(bytes.at(offset + 3)) << 24;
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// UTF-16 text as it stands on the wire, without its NUL.
inline Bytes WireText(std::u16string_view text)
{
    Bytes bytes;
    for (const char16_t c : text)
    {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xff));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    return bytes;
}

struct Reply
{
    std::uint8_t ucType{0}; // 2 response, 3 fault; 0: the connection ended
    std::uint32_t ulFault{0};
    Bytes stub; // what follows the headers
    int nMoreFragments{0};
};

class PipeClient
{
  public:
    static constexpr std::uint8_t kResponse = 2;
    static constexpr std::uint8_t kFault = 3;
    static constexpr std::uint8_t kBindAck = 12;

    PipeClient() { Open(); }
    ~PipeClient() { Die(); }
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    // Drops the connection as a killed process does.
    void Die()
    {
        if (m_pipe != INVALID_HANDLE_VALUE)
        {
            CloseHandle(m_pipe);
            m_pipe = INVALID_HANDLE_VALUE;
        }
    }

    // Binds to version 1.0 of the interface over NDR 2.0; the whole answer.
    Bytes Bind()
    {
        return Bind({0x05, 0x00, 0x0b, 0x03, 0x10, 0x00, 0x00, 0x00, 0x48, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00,
                     0x00, 0xd0, 0x16, 0xd0, 0x16, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x01, 0x00, 0xc0, 0x0a, 0x62, 0x82, 0x74, 0x32, 0x34, 0x45, 0x98, 0x4a, 0x00, 0x1b, 0x0b,
                     0xe6, 0xfc, 0xad, 0x01, 0x00, 0x00, 0x00, 0x04, 0x5d, 0x88, 0x8a, 0xeb, 0x1c, 0xc9, 0x11,
                     0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60, 0x02, 0x00, 0x00, 0x00});
    }

    Bytes Bind(const Bytes& request) { return Exchange(request); }

    Reply Call(std::uint8_t operation, const Bytes& stub)
    {
        EXPECT_TRUE(Ask(operation, stub));
        return Collect(Receive());
    }

    // A request whose answer nobody reads; false when it cannot be sent.
    bool Ask(std::uint8_t operation, const Bytes& stub)
    {
        const auto length = static_cast<std::uint8_t>(24 + stub.size());
        const auto hint = static_cast<std::uint8_t>(stub.size());
        return Send(Bytes{0x05, 0x00, 0x00, 0x03, 0x10, 0x00, 0x00, 0x00, length, 0x00, 0x00,      0x00,
                          0x02, 0x00, 0x00, 0x00, hint, 0x00, 0x00, 0x00, 0x00,   0x00, operation, 0x00} +
                    stub);
    }

    // Binds and connects; the context handle as it stands on the wire.
    Bytes Connect()
    {
        EXPECT_EQ(kBindAck, Bind().at(2));
        const Reply reply = Call(0, {});
        EXPECT_EQ(kResponse, reply.ucType);
        EXPECT_EQ(20U, reply.stub.size());
        return reply.stub;
    }

  private:
    void Open()
    {
        for (;;)
        {
            m_pipe = CreateFileW(L"\\\\.\\pipe\\lrpc\\TLYRpcEndpoint", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
            if (m_pipe != INVALID_HANDLE_VALUE || GetLastError() != ERROR_PIPE_BUSY ||
                !WaitNamedPipeW(L"\\\\.\\pipe\\lrpc\\TLYRpcEndpoint", 5000))
            {
                break;
            }
        }
        DWORD mode = PIPE_READMODE_MESSAGE;
        EXPECT_TRUE(SetNamedPipeHandleState(m_pipe, &mode, nullptr, nullptr)) << GetLastError();
    }

    // Puts the fragments of an answer together; the last one carries the flag 2.
    Reply Collect(Bytes fragment)
    {
        Reply reply;
        while (fragment.size() >= 24)
        {
            reply.ucType = fragment[2];
            reply.ulFault = reply.ucType == kFault ? Number32(fragment, 24) : 0;
            reply.stub.insert(reply.stub.end(), fragment.begin() + 24, fragment.end());
            if ((fragment[3] & 2) != 0)
            {
                return reply;
            }
            ++reply.nMoreFragments;
            fragment = Receive();
        }
        return Reply{};
    }

    Bytes Exchange(const Bytes& request)
    {
        EXPECT_TRUE(Send(request));
        return Receive();
    }
    bool Send(const Bytes& request)
    {
        DWORD count = 0;
        return WriteFile(m_pipe, request.data(), static_cast<DWORD>(request.size()), &count, nullptr) != FALSE;
    }
    Bytes Receive()
    {
        Bytes answer(16);
        if (!Read(answer.data(), 16))
        {
            return {};
        }
        answer.resize(static_cast<std::size_t>(answer[8] | answer[9] << 8));
        if (!Read(answer.data() + 16, static_cast<DWORD>(answer.size() - 16)))
        {
            return {};
        }
        return answer;
    }
    bool Read(std::uint8_t* to, DWORD size)
    {
        while (size != 0)
        {
            DWORD count = 0;
            if (!ReadFile(m_pipe, to, size, &count, nullptr) && GetLastError() != ERROR_MORE_DATA)
            {
                return false;
            }
            to += count;
            size -= count;
        }
        return true;
    }

    HANDLE m_pipe{INVALID_HANDLE_VALUE};
};

// The generated format strings, decoded by the rules of the run time that reads them: what the stubs send and check.
#include "rpc/HotKeyRpc.h"
#include "tests/wire/ClientFormat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace
{

// Procedure header: handle type, Oi flags, 4 bytes of RPC flags, number, stack size, handle description, buffer sizes,
// Oi2 flags, parameter count, extension (its size first), parameters of 6 bytes each.
struct Parameter
{
    unsigned nFlags;
    unsigned nStackOffset;
    unsigned nType;
};

struct Procedure
{
    unsigned nNumber;
    unsigned nHandleKind;  // 0x30 context handle, 0x32 binding handle
    unsigned nHandleFlags; // of a context handle
    std::vector<Parameter> parameters;
};

unsigned Short(const unsigned char* p)
{
    return static_cast<unsigned>(p[0] | p[1] << 8);
}

constexpr unsigned kContextHandle = 0x30;
constexpr unsigned kBindingHandle = 0x32;

Procedure Decode(const unsigned char* p)
{
    Procedure procedure{};
    EXPECT_EQ(0, p[0]) << "explicit handle";
    EXPECT_EQ(0x08, p[1] & 0x08) << "the header carries RPC flags";
    procedure.nNumber = Short(p + 6);
    procedure.nHandleKind = p[10];
    p += 10;
    if (procedure.nHandleKind == kContextHandle)
    {
        procedure.nHandleFlags = p[1];
        p += 6;
    }
    else
    {
        p += 4;
    }
    const unsigned count = p[5];
    EXPECT_EQ(0x40, p[4] & 0x40) << "the header has an extension";
    p += 6;
    p += p[0];
    for (unsigned i = 0; i < count; ++i, p += 6)
    {
        procedure.parameters.push_back({Short(p), Short(p + 2), Short(p + 4)});
    }
    return procedure;
}

struct Stub
{
    const char* pSide;
    const unsigned char* pProcedures;
    const unsigned char* pTypes;
};

const MIDL_SERVER_INFO* ServerInfo()
{
    const auto* const server = static_cast<const RPC_SERVER_INTERFACE*>(HotKeyRpc_v1_0_s_ifspec);
    return static_cast<const MIDL_SERVER_INFO*>(server->InterpreterInfo);
}

Stub ServerStub()
{
    return {"server", ServerInfo()->ProcString, ServerInfo()->pStubDesc->pFormatTypes};
}

Stub ClientStub()
{
    return {"client", ClientProcedureFormat(), ClientTypeFormat()};
}

class FormatString : public testing::TestWithParam<Stub (*)()>
{
  protected:
    // Both stubs are made from one description, so the server's table of offsets holds for both.
    std::vector<Procedure> Procedures() const
    {
        std::vector<Procedure> procedures;
        for (int i = 0; i < 8; ++i)
        {
            procedures.push_back(Decode(GetParam()().pProcedures + ServerInfo()->FmtStringOffset[i]));
        }
        return procedures;
    }
    // The flags in the type description of a context handle, behind its pointer when there is one.
    unsigned ContextFlags(const Parameter& parameter) const
    {
        const unsigned char* type = GetParam()().pTypes + parameter.nType;
        EXPECT_EQ(kContextHandle, type[0]);
        return type[1];
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Stubs, FormatString, testing::Values(&ServerStub, &ClientStub),
                         [](const auto& stub) { return std::string{stub.param().pSide}; });

TEST_P(FormatString, OperationsHaveTheirNumbers)
{
    const std::vector<Procedure> procedures = Procedures();

    for (unsigned i = 0; i < 8; ++i)
    {
        EXPECT_EQ(i, procedures[i].nNumber);
    }
}

TEST_P(FormatString, BindingHandleIsNotOnTheWire)
{
    const Procedure connect = Procedures()[0];

    EXPECT_EQ(kBindingHandle, connect.nHandleKind);
    ASSERT_EQ(1U, connect.parameters.size());
    EXPECT_EQ(0x110U, connect.parameters[0].nFlags);   // out, simple reference
    EXPECT_EQ(8U, connect.parameters[0].nStackOffset); // behind the binding handle on the stack
}

// 0x80 through a pointer, 0x40 in, 0x20 out, 0x04 not serialised, 0x01 may not be null
TEST_P(FormatString, ContextHandlesAreNotSerialised)
{
    const std::vector<Procedure> procedures = Procedures();

    EXPECT_EQ(0xe4U, procedures[1].nHandleFlags);
    for (unsigned i = 2; i < 8; ++i)
    {
        EXPECT_EQ(0x44U, procedures[i].nHandleFlags) << i;
    }
}

TEST_P(FormatString, ContextHandlesThatGoInMayNotBeNull)
{
    const std::vector<Procedure> procedures = Procedures();

    EXPECT_EQ(0xa4U, ContextFlags(procedures[0].parameters.at(0))); // only out: may be null
    EXPECT_EQ(0xe5U, ContextFlags(procedures[1].parameters.at(0)));
    for (unsigned i = 2; i < 8; ++i)
    {
        EXPECT_EQ(0x45U, ContextFlags(procedures[i].parameters.at(0))) << i;
    }
}

TEST_P(FormatString, ParametersAreThoseOfTheOperations)
{
    const std::vector<Procedure> procedures = Procedures();

    const std::array<std::size_t, 8> counts{1, 1, 1, 1, 3, 2, 2, 3};
    for (std::size_t i = 0; i < counts.size(); ++i)
    {
        EXPECT_EQ(counts[i], procedures[i].parameters.size()) << i;
    }
    for (const std::size_t text : {4U, 7U})
    {
        EXPECT_EQ(0x0008U, procedures[text].parameters[0].nFlags);           // in
        EXPECT_EQ(0x2150U, procedures[text].parameters[1].nFlags);           // out, base type, simple reference
        EXPECT_EQ(0x08U, procedures[text].parameters[1].nType);              // 32-bit integer
        EXPECT_EQ(0x0013U, procedures[text].parameters[2].nFlags & 0x1fffU); // out, to be sized and freed
    }
    for (const std::size_t presence : {5U, 6U})
    {
        EXPECT_EQ(0x0070U, procedures[presence].parameters[1].nFlags); // result, base type
        EXPECT_EQ(0x08U, procedures[presence].parameters[1].nType);    // 32-bit integer
    }
}

TEST_P(FormatString, TextIsAPointerToAnArrayThatTheSizeCounts)
{
    for (const std::size_t operation : {4U, 7U})
    {
        const Parameter text = Procedures()[operation].parameters[2];
        const unsigned char* type = GetParam()().pTypes + text.nType;

        EXPECT_EQ(0x11, type[0]); // reference to
        type += 2 + static_cast<std::int16_t>(Short(type + 2));
        EXPECT_EQ(0x12, type[0]); // a pointer that may be null, to
        type += 2 + static_cast<std::int16_t>(Short(type + 2));
        EXPECT_THAT(std::vector<unsigned>(type, type + 10),
                    testing::ElementsAre(0x1b, 0x01, 0x02, 0x00, // an array of 2-byte elements,
                                         0x28, 0x54, 0x08, 0x00, // counted by the 32-bit integer at stack offset 8,
                                         0x05, 0x5b));           // wide characters, end
    }
}

TEST(ServerStub, InterfaceIsTheOneOfTheContract)
{
    const auto* const server = static_cast<const RPC_SERVER_INTERFACE*>(HotKeyRpc_v1_0_s_ifspec);
    const GUID expected{0x82620ac0, 0x3274, 0x4534, {0x98, 0x4a, 0x00, 0x1b, 0x0b, 0xe6, 0xfc, 0xad}};

    EXPECT_TRUE(InlineIsEqualGUID(expected, server->InterfaceId.SyntaxGUID));
    EXPECT_EQ(1, server->InterfaceId.SyntaxVersion.MajorVersion);
    EXPECT_EQ(0, server->InterfaceId.SyntaxVersion.MinorVersion);
    EXPECT_EQ(8U, server->DispatchTable->DispatchTableCount);
    EXPECT_EQ(nullptr, server->DefaultManagerEpv);
}

TEST(ServerStub, RoutinesStandInTheOrderOfTheNumbers)
{
    const SERVER_ROUTINE* const table = ServerInfo()->DispatchTable;
    std::vector<void*> routines;
    for (int i = 0; i < 8; ++i)
    {
        routines.push_back(reinterpret_cast<void*>(table[i]));
    }

    EXPECT_THAT(routines,
                testing::ElementsAre(
                    reinterpret_cast<void*>(&Connect), reinterpret_cast<void*>(&Disconnect),
                    reinterpret_cast<void*>(&ProcessCommand), reinterpret_cast<void*>(&LaunchUsbCApp),
                    reinterpret_cast<void*>(&ReadSysInfo), reinterpret_cast<void*>(&IsFennixServiceInstalled),
                    reinterpret_cast<void*>(&IsFennixNodePresent), reinterpret_cast<void*>(&ReadUSBTypeCInfo)));
}

TEST(ServerStub, RoutinesOfMemoryAreTheProjects)
{
    EXPECT_EQ(&midl_user_allocate, ServerInfo()->pStubDesc->pfnAllocate);
    EXPECT_EQ(&midl_user_free, ServerInfo()->pStubDesc->pfnFree);
    EXPECT_EQ(&HOTKEY_CONTEXT_HANDLE_rundown, ServerInfo()->pStubDesc->apfnNdrRundownRoutines[0]);
}

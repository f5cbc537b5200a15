// What a client offers when it binds, and what it is served: NDR 2.0 alone or beside NDR64.
#include "tests/wire/EndpointScope.h"
#include "tests/wire/FedBridge.h"
#include "tests/wire/PipeClient.h"

#include <gtest/gtest.h>

namespace
{

class TransferSyntax : public testing::Test
{
  protected:
    FedBridgeScope m_feed;
};

// A bind of two presentation contexts, 0 for NDR 2.0 and 1 for NDR64, as a client sends it whose stub has both.
const Bytes kBindBoth{0x05, 0x00, 0x0b, 0x03, 0x10, 0x00, 0x00, 0x00, 0x74, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,
                      0xd0, 0x16, 0xd0, 0x16, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
                      // context 0: interface 1.0, NDR 2.0
                      0x00, 0x00, 0x01, 0x00, 0xc0, 0x0a, 0x62, 0x82, 0x74, 0x32, 0x34, 0x45, 0x98, 0x4a, 0x00, 0x1b,
                      0x0b, 0xe6, 0xfc, 0xad, 0x01, 0x00, 0x00, 0x00, 0x04, 0x5d, 0x88, 0x8a, 0xeb, 0x1c, 0xc9, 0x11,
                      0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60, 0x02, 0x00, 0x00, 0x00,
                      // context 1: interface 1.0, NDR64 1.0
                      0x01, 0x00, 0x01, 0x00, 0xc0, 0x0a, 0x62, 0x82, 0x74, 0x32, 0x34, 0x45, 0x98, 0x4a, 0x00, 0x1b,
                      0x0b, 0xe6, 0xfc, 0xad, 0x01, 0x00, 0x00, 0x00, 0x33, 0x05, 0x71, 0x71, 0xba, 0xbe, 0x37, 0x49,
                      0x83, 0x19, 0xb5, 0xdb, 0xef, 0x9c, 0xcc, 0x36, 0x01, 0x00, 0x00, 0x00};

} // namespace

// Windows may take NDR64 instead; Wine's run time knows NDR 2.0 only and says no to the other.
TEST_F(TransferSyntax, ClientThatOffersBothIsServedOverNdr2)
{
    Feed().sysInfo = [] { return L"text"; };
    const EndpointScope endpoint;
    PipeClient client;

    const Bytes answer = client.Bind(kBindBoth);
    const Reply connected = client.Call(0, {});
    const Reply reply = client.Call(4, connected.stub);

    ASSERT_GE(answer.size(), 48U + 12U);
    EXPECT_EQ(PipeClient::kBindAck, answer[2]);
    EXPECT_EQ(2, answer[answer.size() - 52]);            // results
    EXPECT_EQ(0U, Number32(answer, answer.size() - 48)); // NDR 2.0: acceptance
    EXPECT_EQ(2, answer[answer.size() - 24]);            // NDR64: provider rejection
    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_EQ(5U, Number32(reply.stub, 0));
}

TEST_F(TransferSyntax, ClientThatOffersNdr2AloneIsServed)
{
    Feed().sysInfo = [] { return L"text"; };
    const EndpointScope endpoint;
    PipeClient client;

    const Reply reply = client.Call(4, client.Connect());

    EXPECT_EQ(PipeClient::kResponse, reply.ucType);
    EXPECT_EQ(5U, Number32(reply.stub, 0));
}

#include "support/fake_daemon.h"
#include "include/te_mor.h"
#include "messaging/transport.h"

using namespace temor::test;

class TransportTest : public DaemonTest {};

TEST_F(TransportTest, DoRequestReturnsDaemonResult) {
    daemon->answer_result(0x250C00BF);
    const Bytes req = message(0, 0, 0, {{12, {}}});
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), 0x250C00BFu);
    EXPECT_EQ(daemon->requests().at(0), req);
}

// Management ports as the host and an application see them, beyond the
// scripted management scenario (which has the conversions and their edges):
// the mode across entries, show 9, the self-test and the log test.
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

void send_mgmt(int dev, unsigned ifx, int lport, int mode)
{
    dmtest::send(DP_LIB_MSG_PHY_MGMT_IFX,
                 dp_lib_phy_mgmt_ifx_msg_t{dev, ifx, lport, static_cast<uint8_t>(mode), {}});
}

// The phyids of an interface index given room for `capacity`; {-1} when refused.
std::vector<int> phyids_of(unsigned ifx, int capacity)
{
    std::vector<int> out(static_cast<size_t>(capacity), -7);
    int num = capacity;
    return dm_get_phyid_from_phy_mgmt_ifx(ifx, out.data(), &num) == 0 ? out : std::vector<int>{-1};
}

using dmtest::logged;

TEST(PhyMgmt, TheLastModeWinsAndZeroClears)
{
    send_mgmt(2, 77, 1, 0);
    EXPECT_TRUE(logged(">:set mgmt mode : 0."));
    // Mode 1, set through another entry, lists both devices for every index
    // and never lists a device above 2, whatever the room.
    send_mgmt(1, 55, 0, 1);
    EXPECT_EQ(phyids_of(77, 7),
              (std::vector<int>{0x0F011E01, 0x0F011F01, 0x0F021E01, 0x0F021F01, -7, -7, -7}));
    send_mgmt(2, 0, 1, 0);  // 0 clears
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(77), -1);
}

TEST(PhyMgmt, ShowSelfTestAndLogTest)
{
    const std::string empty =
        "dev_id: 1, lport:0 phy mgmt ifx: 0\r\ndev_id: 1, lport:1 phy mgmt ifx: 0\r\n"
        "dev_id: 2, lport:0 phy mgmt ifx: 0\r\ndev_id: 2, lport:1 phy mgmt ifx: 0\r\n"
        "test dm_lib_test_phy_mgmt_ifx_intf result : pass.\r\n";
    EXPECT_EQ(dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_MGMT); }), empty);
    utest_dm_get_phyid(5);  // nothing written: every entry shows 0
    EXPECT_TRUE(logged(">:ret[-1], num[4] phyid[0][0][0][0].limit:4"));

    send_mgmt(2, 77, 1, 0);
    EXPECT_EQ(dmtest::capture_stdout([] { dm_lib_show_phy_mgmt_ifx(2); }),
              "dev_id: 2, lport:0 phy mgmt ifx: 0\r\ndev_id: 2, lport:1 phy mgmt ifx: 77\r\n"
              "------dev:2, lport:1, ifx:77---------\r\n"
              "test dm_lib_test_phy_mgmt_ifx_intf result : pass.\r\n");
    utest_dm_get_phyid(77);
    EXPECT_TRUE(logged(">:ret[0], num[2] phyid[f021e01][f021f01][0][0].limit:4"));

    dm_host_set_dbg_level(LIB_DBG_WARN);
    std::string out = dmtest::capture_stdout([] { dm_lib_show_phy_mgmt_ifx(5); });
    EXPECT_EQ(out.substr(out.find(">:") + 2),
              "invalid dev_id: 5\r\n------dev:2, lport:1, ifx:77---------\r\n"
              "test dm_lib_test_phy_mgmt_ifx_intf result : pass.\r\n");
    dm_host_set_dbg_level(LIB_DBG_END);

    // Mode 1: the two-entry query fails, and so does the verdict.
    send_mgmt(2, 77, 1, 1);
    out = dmtest::capture_stdout([] { dm_lib_test_phy_mgmt_ifx_intf(); });
    EXPECT_NE(out.find("dm_get_phyid_from_phy_mgmt_ifx fail. ret:-1, num:2\r\n"),
              std::string::npos);
    EXPECT_NE(out.find("result : fail.\r\n"), std::string::npos);
    // An index on both devices fails device 1's check.
    send_mgmt(1, 77, 0, 0);
    out = dmtest::capture_stdout([] { dm_lib_test_phy_mgmt_ifx_intf(); });
    EXPECT_NE(out.find("dm_get_devid_from_phy_mgmt_ifx fail. ifx:77, dev:2\r\n"),
              std::string::npos);
}

}  // namespace

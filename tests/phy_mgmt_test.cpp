// Management ports as the host and an application see them: data message 7,
// the conversions in both management modes, show 9 and the log test.
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

bool logged(const std::string &tail)
{
    for (const std::string &l : dmtest::log_lines()) {
        if (l.size() >= tail.size() && l.compare(l.size() - tail.size(), tail.size(), tail) == 0) {
            return true;
        }
    }
    return false;
}

TEST(PhyMgmt, MessageSetsEntryAndTheLastModeWins)
{
    send_mgmt(2, 77, 1, 0);
    EXPECT_TRUE(logged(">:set mgmt mode : 0."));
    EXPECT_EQ(phyids_of(77, 2), (std::vector<int>{0x0F021E01, 0x0F021F01}));
    // Device 0 or 3 and port 2 are refused: neither entry nor mode changes.
    send_mgmt(0, 91, 0, 1);
    send_mgmt(3, 92, 0, 1);
    send_mgmt(1, 93, 2, 1);
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(91) + dm_get_devid_from_phy_mgmt_ifx(93), -2);
    EXPECT_EQ(phyids_of(77, 2).size(), 2u);
    // Mode 1, set through another entry, lists both devices for every index,
    // needs room for 4 and never lists a device above 2.
    send_mgmt(1, 55, 0, 1);
    EXPECT_EQ(phyids_of(77, 2), std::vector<int>{-1});
    EXPECT_EQ(phyids_of(77, 7),
              (std::vector<int>{0x0F011E01, 0x0F011F01, 0x0F021E01, 0x0F021F01, -7, -7, -7}));
    send_mgmt(2, 0, 1, 0);  // 0 clears
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(77), -1);
}

TEST(PhyMgmt, Conversions)
{
    // One index on device 1 port 1 and device 2 port 0: device 2 wins.
    send_mgmt(1, 40, 1, 0);
    send_mgmt(2, 40, 0, 0);
    int dev = -9, slot = -9, lport = -9;
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(40), 2);
    EXPECT_EQ(dm_get_devid_lport_from_phy_mgmt_ifx(40, &dev, &lport), 0);
    EXPECT_EQ(dev * 10 + lport, 20);

    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 30, 1), 0x0F011E01);
    EXPECT_EQ(dm_get_node_from_phy_mgmt_phyid(0x0F011E01), 0x0101E000);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot(2, 31), 0x0F021F00);
    EXPECT_EQ(dm_get_node_from_phy_mgmt_phyid(0x0F013E00), 0x0103E000);  // slot byte 62 is kept
    EXPECT_EQ(dm_get_dev_slot_lport_from_phy_mgmt_phyid(0x0F021F01, &dev, &slot, &lport), 0);
    EXPECT_EQ(dev * 10000 + slot * 10 + lport, 20311);
    for (int bad : {0x0F031E00, 0x0F011D00, 0x0F011E02, 0x0E011E00}) {
        EXPECT_FALSE(dm_phyid_is_phy_mgmt_phyid(bad)) << std::hex << bad;
        EXPECT_EQ(dm_get_dev_slot_from_phy_mgmt_phyid(bad, &dev, &slot), -1);
    }
    // Refused: device 3, slot 29, a sub-slot, port 2, a slot that would spill
    // out of its byte.
    for (int bad :
         {dm_get_phy_mgmt_phyid_from_dev_slot(3, 30), dm_get_phy_mgmt_phyid_from_dev_slot(1, 29),
          dm_get_phy_mgmt_phyid_from_dev_slot(1, (1 << 10) | 30),
          dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 30, 2),
          dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 0x8000 | 30, 0)}) {
        EXPECT_EQ(bad, -1);
    }
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

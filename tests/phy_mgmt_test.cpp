// Management ports as the host and an application see them: data message 7,
// the conversions in both management modes, show 9 and the log test.
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

void send_mgmt(int dev, unsigned ifx, int lport, int mode)
{
    dp_lib_phy_mgmt_ifx_msg_t msg = {dev, ifx, lport, static_cast<uint8_t>(mode), {}};
    dmtest::send(DP_LIB_MSG_PHY_MGMT_IFX, msg);
}

// The phyids of an interface index with room for `capacity` (-1: refused).
std::vector<int> phyids_of(unsigned ifx, int capacity)
{
    std::vector<int> out(static_cast<size_t>(capacity), -7);
    int num = capacity;
    if (dm_get_phyid_from_phy_mgmt_ifx(ifx, out.data(), &num) != 0) {
        return {-1};
    }
    return out;  // entries past num keep -7
}

bool logged(const std::string &text)
{
    for (const std::string &l : dmtest::log_lines()) {
        if (l.size() >= text.size() && l.compare(l.size() - text.size(), text.size(), text) == 0) {
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

    // Mode 1 set through another entry applies to every index: the list of
    // both devices, which needs room for 4 (and never lists a device above 2).
    send_mgmt(1, 55, 0, 1);
    EXPECT_EQ(phyids_of(77, 2), std::vector<int>{-1});
    const std::vector<int> both = {0x0F011E01, 0x0F011F01, 0x0F021E01, 0x0F021F01};
    EXPECT_EQ(phyids_of(77, 4), both);
    EXPECT_EQ(phyids_of(77, 7), (std::vector<int>{both[0], both[1], both[2], both[3], -7, -7, -7}));

    send_mgmt(2, 0, 1, 0);  // 0 clears
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(77), -1);
}

TEST(PhyMgmt, Conversions)
{
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([] { EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(0), -1); });
    EXPECT_NE(out.find(">:invalid ifx:0\r\n"), std::string::npos);

    // One index on device 1 port 1 and device 2 port 0: device 2 wins.
    send_mgmt(1, 40, 1, 0);
    send_mgmt(2, 40, 0, 0);
    int dev = -9, slot = -9, lport = -9;
    EXPECT_EQ(dm_get_devid_from_phy_mgmt_ifx(40), 2);
    EXPECT_EQ(dm_get_devid_lport_from_phy_mgmt_ifx(40, &dev, &lport), 0);
    EXPECT_EQ(dev * 10 + lport, 20);
    EXPECT_EQ(dm_get_devid_lport_from_phy_mgmt_ifx(40, nullptr, &lport), -1);

    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 30, 1), 0x0F011E01);
    EXPECT_EQ(dm_get_node_from_phy_mgmt_phyid(0x0F011E01), 0x0101E000);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot(2, 31), 0x0F021F00);
    for (int bad : {0x0F031E00, 0x0F011D00, 0x0F011E02, 0x0E011E00}) {
        EXPECT_FALSE(dm_phyid_is_phy_mgmt_phyid(bad)) << std::hex << bad;
        EXPECT_EQ(dm_get_dev_slot_from_phy_mgmt_phyid(bad, &dev, &slot), -1);
    }
    EXPECT_TRUE(dm_phyid_is_phy_mgmt_phyid(0x0F010000));
    EXPECT_EQ(dm_get_node_from_phy_mgmt_phyid(0x0F013E00), 0x0103E000);  // slot byte 62 kept
    EXPECT_EQ(dm_get_dev_slot_lport_from_phy_mgmt_phyid(0x0F021F01, &dev, &slot, &lport), 0);
    EXPECT_EQ(dev * 10000 + slot * 10 + lport, 20311);

    // Refused: device 3, slot 29, a sub-slot, port 2, and a slot that would
    // spill out of its byte into the device and form.
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot(3, 30), -1);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot(1, 29), -1);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot(1, (1 << 10) | 30), -1);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 30, 2), -1);
    EXPECT_EQ(dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 0x8000 | 30, 0), -1);
}

TEST(PhyMgmt, ShowSelfTestAndLogTest)
{
    std::string out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_MGMT); });
    EXPECT_EQ(out,
              "dev_id: 1, lport:0 phy mgmt ifx: 0\r\ndev_id: 1, lport:1 phy mgmt ifx: 0\r\n"
              "dev_id: 2, lport:0 phy mgmt ifx: 0\r\ndev_id: 2, lport:1 phy mgmt ifx: 0\r\n"
              "test dm_lib_test_phy_mgmt_ifx_intf result : pass.\r\n");
    utest_dm_get_phyid(5);  // nothing written: the entries show 0
    EXPECT_TRUE(logged(">:ret[-1], num[4] phyid[0][0][0][0].limit:4"));

    send_mgmt(2, 77, 1, 0);
    out = dmtest::capture_stdout([] { dm_lib_show_phy_mgmt_ifx(2); });
    EXPECT_EQ(out,
              "dev_id: 2, lport:0 phy mgmt ifx: 0\r\ndev_id: 2, lport:1 phy mgmt ifx: 77\r\n"
              "------dev:2, lport:1, ifx:77---------\r\n"
              "test dm_lib_test_phy_mgmt_ifx_intf result : pass.\r\n");
    utest_dm_get_phyid(77);
    EXPECT_TRUE(logged(">:ret[0], num[2] phyid[f021e01][f021f01][0][0].limit:4"));

    dm_host_set_dbg_level(LIB_DBG_WARN);
    out = dmtest::capture_stdout([] { dm_lib_show_phy_mgmt_ifx(5); });
    EXPECT_NE(out.find(">:invalid dev_id: 5\r\n"), std::string::npos);
    EXPECT_NE(out.find("result : pass.\r\n"), std::string::npos);
    dm_host_set_dbg_level(LIB_DBG_END);

    // Mode 1: the two-entry query fails, and so does the verdict.
    send_mgmt(2, 77, 1, 1);
    out = dmtest::capture_stdout([] { dm_lib_test_phy_mgmt_ifx_intf(); });
    EXPECT_NE(out.find("dm_get_phyid_from_phy_mgmt_ifx fail. ret:-1, num:2\r\n"), std::string::npos);
    EXPECT_NE(out.find("result : fail.\r\n"), std::string::npos);
    // An index on both devices fails device 1's check.
    send_mgmt(1, 77, 0, 0);
    out = dmtest::capture_stdout([] { dm_lib_test_phy_mgmt_ifx_intf(); });
    EXPECT_NE(out.find("dm_get_devid_from_phy_mgmt_ifx fail. ifx:77, dev:2\r\n"), std::string::npos);
}

}  // namespace

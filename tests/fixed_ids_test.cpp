// Fixed Dune chip IDs and system ports, both ways, with their ranges.
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chipid_query.h>

namespace {

std::vector<int> dune_decode(int chipid)
{
    int d = 0, s = 0, u = 0;
    int ret = dm_get_dev_slot_unit_by_dune_chipid(chipid, &d, &s, &u);
    return ret == 0 ? std::vector<int>{d, s, u} : std::vector<int>{ret};
}

std::vector<int> sysport_decode(int sysport)
{
    int d = 0, s = 0, u = 0, p = 0;
    int ret = dm_get_dev_slot_unit_port_from_sysport(sysport, &d, &s, &u, &p);
    return ret == 0 ? std::vector<int>{d, s, u, p} : std::vector<int>{ret};
}

TEST(FixedIds, DuneChipids)
{
    EXPECT_EQ(dm_get_dune_static_chipid(1, 0, 0), 27);
    EXPECT_EQ(dm_get_dune_static_chipid(1, 3, 1), 52);
    EXPECT_EQ(dm_get_dune_static_chipid(2, 29, 7), 522);
    EXPECT_EQ(dm_get_dune_static_chipid(1, 3, 9),
              dm_get_dune_static_chipid(1, 4, 1));  // unit unchecked
    EXPECT_EQ(dm_get_dune_static_chipid(3, 3, 0), -2);
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out =
        dmtest::capture_stdout([] { EXPECT_EQ(dm_get_dune_static_chipid(2, 31, 0), -2); });
    EXPECT_NE(out.find("gslot[0x00003f] is chassis mb slot\r\n"), std::string::npos) << out;

    EXPECT_EQ(dune_decode(307), (std::vector<int>{2, 3, 0}));
    EXPECT_EQ(dune_decode(538), (std::vector<int>{2, 31, 7}));  // main-board slots decode
    EXPECT_EQ(dune_decode(27), (std::vector<int>{1, 0, 0}));  // the first ID
    EXPECT_EQ(dune_decode(26), (std::vector<int>{-2}));
    out = dmtest::capture_stdout([] { EXPECT_EQ(dune_decode(539), (std::vector<int>{-2})); });
    EXPECT_NE(out.find("gslot is invalid(0x40)\r\n"), std::string::npos) << out;
}

TEST(FixedIds, Sysports)
{
    int sysport = 0;
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 1, 10, &sysport), 0);
    EXPECT_EQ(sysport, 690);
    EXPECT_EQ(sysport_decode(690), (std::vector<int>{1, 3, 1, 10}));
    // Unit 7 and port 31 are the last of their fields.
    EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 7, 31, &sysport), 0);
    EXPECT_EQ(sysport_decode(sysport), (std::vector<int>{1, 3, 7, 31}));
    EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 8, 0, &sysport), -2);
    EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 0, 32, &sysport), -2);
    // Slot 0 lands below slot 1 (the inverse refuses it); slot 17 spills
    // into the next device.
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 0, 0, 0, &sysport), 0);
    EXPECT_EQ(sysport, -320);
    EXPECT_EQ(sysport_decode(-320), (std::vector<int>{-2}));
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 17, 0, 0, &sysport), 0);
    EXPECT_EQ(sysport_decode(sysport), (std::vector<int>{2, 1, 0, 0}));
    EXPECT_EQ(sysport_decode(20479), (std::vector<int>{4, 16, 7, 39}));
    EXPECT_EQ(sysport_decode(20480), (std::vector<int>{-2}));
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 8, 0, &sysport), -2); });
    EXPECT_NE(out.find("input arguments error, dev=1 slot=3 unit=8 port=0\r\n"), std::string::npos)
        << out;
    EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 0, 32, &sysport), -2);
}

}  // namespace

// Fixed Dune chip IDs and system ports, both ways, with their ranges.
#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chipid.h>

namespace {

TEST(FixedIds, DuneChipidsFromPositionAndBack)
{
    EXPECT_EQ(dm_get_dune_static_chipid(1, 0, 0), 27);
    EXPECT_EQ(dm_get_dune_static_chipid(1, 3, 1), 52);
    EXPECT_EQ(dm_get_dune_static_chipid(2, 3, 0), 307);
    EXPECT_EQ(dm_get_dune_static_chipid(2, 29, 7), 522);
    EXPECT_EQ(dm_get_dune_static_chipid(1, 3, 9), dm_get_dune_static_chipid(1, 4, 1));  // unit unchecked
    EXPECT_EQ(dm_get_dune_static_chipid(3, 3, 0), -2);
    EXPECT_EQ(dm_get_dune_static_chipid(1, 32, 0), -2);

    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ(dm_get_dune_static_chipid(1, 30, 0), -2);
        EXPECT_EQ(dm_get_dune_static_chipid(2, 31, 0), -2);
    });
    EXPECT_NE(out.find("gslot[0x00001e] is chassis mb slot\r\n"), std::string::npos) << out;
    EXPECT_NE(out.find("gslot[0x00003f] is chassis mb slot\r\n"), std::string::npos) << out;

    int dev = 0, slot = 0, unit = 0;
    ASSERT_EQ(dm_get_dev_slot_unit_by_dune_chipid(307, &dev, &slot, &unit), 0);
    EXPECT_EQ(dev * 10000 + slot * 100 + unit, 20300);
    ASSERT_EQ(dm_get_dev_slot_unit_by_dune_chipid(522, &dev, &slot, &unit), 0);
    EXPECT_EQ(dev * 10000 + slot * 100 + unit, 22907);
    // Main-board slots are decoded although they are never produced.
    ASSERT_EQ(dm_get_dev_slot_unit_by_dune_chipid(538, &dev, &slot, &unit), 0);
    EXPECT_EQ(dev * 10000 + slot * 100 + unit, 23107);
    EXPECT_EQ(dm_get_dev_slot_unit_by_dune_chipid(26, &dev, &slot, &unit), -2);
    EXPECT_EQ(dm_get_dev_slot_unit_by_dune_chipid(52, nullptr, &slot, &unit), -2);
    out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_dev_slot_unit_by_dune_chipid(539, &dev, &slot, &unit), -2); });
    EXPECT_NE(out.find("gslot is invalid(0x40)\r\n"), std::string::npos) << out;
}

TEST(FixedIds, SysportsFromPositionAndBack)
{
    int sysport = 0;
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 1, 10, &sysport), 0);
    EXPECT_EQ(sysport, 690);
    int dev = 0, slot = 0, unit = 0, port = 0;
    ASSERT_EQ(dm_get_dev_slot_unit_port_from_sysport(690, &dev, &slot, &unit, &port), 0);
    EXPECT_EQ((std::vector<int>{dev, slot, unit, port}), (std::vector<int>{1, 3, 1, 10}));

    // Slot 0 lands below slot 1 and the inverse refuses it; slot 17 spills
    // into the next device.
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 0, 0, 0, &sysport), 0);
    EXPECT_EQ(sysport, -320);
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_dev_slot_unit_port_from_sysport(-320, &dev, &slot, &unit, &port), -2); });
    EXPECT_NE(out.find("input arguments error, sysport=0xfffffec0\r\n"), std::string::npos) << out;
    ASSERT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 17, 0, 0, &sysport), 0);
    ASSERT_EQ(dm_get_dev_slot_unit_port_from_sysport(sysport, &dev, &slot, &unit, &port), 0);
    EXPECT_EQ((std::vector<int>{dev, slot, unit, port}), (std::vector<int>{2, 1, 0, 0}));

    // Ports 32..39 are decoded though never produced.
    ASSERT_EQ(dm_get_dev_slot_unit_port_from_sysport(20479, &dev, &slot, &unit, &port), 0);
    EXPECT_EQ((std::vector<int>{dev, slot, unit, port}), (std::vector<int>{4, 16, 7, 39}));
    EXPECT_EQ(dm_get_dev_slot_unit_port_from_sysport(20480, &dev, &slot, &unit, &port), -2);

    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 8, 0, &sysport), -2);
        EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 0, 32, &sysport), -2);
        EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(0, 3, 0, 0, &sysport), -2);
        EXPECT_EQ(dm_get_sysport_from_dev_slot_unit_port(1, 3, 0, 0, nullptr), -2);
    });
    EXPECT_NE(out.find("input arguments error, dev=1 slot=3 unit=8 port=0\r\n"), std::string::npos) << out;
}

}  // namespace

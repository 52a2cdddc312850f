// Chip-type records as the application sees them, beyond the scripted
// configuration scenario: the diagnostics of the unit queries, the limit of
// eight units, and the ports of a global chip listed from the port table.
#include <cstdlib>
#include <cstring>
#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chip_cfg.h>
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kCardType = 0x51;

using dmtest::has;

void send_chip(int type, int family, int invalid_port)
{
    dmtest::send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{type, family, invalid_port, 128});
}

// This card, in slot 3, of a card type whose unit u carries chip type
// 100 + u; lports 0 and 1 sit on unit 1.
void this_card(int node_type, int chip_num)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = kCardType;
    c.chip_num = chip_num;
    for (int u = 0; u < DP_LIB_CARD_UNIT_MAX; ++u) {
        c.chip_types[u] = 100 + u;
    }
    std::memset(c.lport_unit, -1, sizeof c.lport_unit);
    c.lport_unit[0] = c.lport_unit[1] = 1;
    dmtest::send(DP_LIB_MSG_CARD_CFG, c);
    dm_host_set_my_card(dm_node_make(1, 3), 3, kCardType, node_type);
    dm_host_set_dbg_level(LIB_DBG_WARN);
}

}  // namespace

TEST(ChipCfg, ByChipTypeAndByUnit)
{
    this_card(DM_TYPE_LC, 3);
    send_chip(101, -2, 0x7F);  // unit 2's chip type 102 is never announced
    EXPECT_EQ(dmtest::capture_stdout([] { EXPECT_EQ(dm_get_chip_family(102), -1); }),
              "");  // quiet miss
    EXPECT_EQ(dm_get_invalid_port(1), 0x7F);

    std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ(dm_get_lchip_family_by_unit(1), -1);
        EXPECT_EQ(dm_get_lchip_family_by_unit(3), -1);
        EXPECT_EQ(dm_get_invalid_port(2), 0);
    });
    EXPECT_TRUE(has(out, "dm_get_chip_family error, chip_family(-2).\n"));
    EXPECT_TRUE(has(out, "input arguments error, unit(3) chip_num(3).\n"));
    EXPECT_TRUE(has(out, "can not find chip cfg (102).\n"));

    this_card(DM_TYPE_MB, 3);
    EXPECT_TRUE(has(dmtest::capture_stdout([] { EXPECT_EQ(dm_get_invalid_port(0), 0); }),
                    "not lc or msc!\n"));
}

// A card of 8 chips, as many as a record describes: unit 8 is refused
// instead of being read past the 8-entry chip-type array.
TEST(ChipCfg, UnitsStopAtTheEighthChip)
{
    this_card(DM_TYPE_MSC, 8);
    send_chip(107, 9, 0x55);
    EXPECT_EQ(dm_get_invalid_port(7), 0x55);
    EXPECT_EQ(dm_get_lchip_family_by_unit(7), 9);
    std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ(dm_get_invalid_port(8), 0);
        EXPECT_EQ(dm_get_lchip_family_by_unit(8), -1);
    });
    EXPECT_TRUE(has(out, "can not find unit(8)!\n"));
    EXPECT_TRUE(has(out, "input arguments error, unit(8) chip_num(8).\n"));
}

TEST(ChipCfg, PortsOfAGlobalChipInLocalPortOrder)
{
    this_card(DM_TYPE_LC, 2);
    // Chip IDs 0x122, 0x123 and 0x125 for units 0, 1 and 2 of slot 3.
    dmtest::alloc_chipids(3, {0x122, 0x123, 0x125}, 1, kCardType);
    for (int lport : {1, 0}) {  // sent out of order
        dp_lib_port_t p = dmtest::port_record(1, 3, 1, 5 + lport, lport);
        p.ifx = p.lsm_key = 0x1000 + lport;
        p.g_chipid = 0x123;
        dmtest::send(DP_LIB_MSG_PORT_INFO, p);
    }

    int *list = nullptr;
    int num = -1;
    ASSERT_EQ(dm_get_port_bmp_from_chipid(0x123, &list, &num), 0);
    EXPECT_EQ(std::vector<int>(list, list + num), (std::vector<int>{0x07012305, 0x07012306}));
    std::free(list);
    ASSERT_EQ(dm_get_port_bmp_from_chipid(0x122, &list, &num), 0);  // unit 0: no known ports
    EXPECT_EQ(num, 0);
    EXPECT_EQ(list, nullptr);

    // Failures leave the count at 0 and the list untouched.
    list = reinterpret_cast<int *>(0x1);
    std::string out = dmtest::capture_stdout([&] {
        for (int chipid : {0x124, 0x125, 0x10000, -1}) {
            num = 9;
            EXPECT_EQ(dm_get_port_bmp_from_chipid(chipid, &list, &num), -1);
            EXPECT_EQ(num, 0);
        }
    });
    EXPECT_EQ(list, reinterpret_cast<int *>(0x1));
    EXPECT_TRUE(has(out, "dm_get_node_unit_from_chipid ret="));
    EXPECT_TRUE(has(out, "unit number 2!\n"));
    // IDs no chip can have fail in the chip-ID lookup, with its diagnostics.
    for (int chipid : {65536, -1}) {
        const std::string id = std::to_string(chipid);
        EXPECT_TRUE(has(out, "input arguments error, chipid=" + id + "\r\n")) << out;
    }
    EXPECT_EQ(dmtest::count(out, "dm_get_node_unit_from_chipid ret=-2!\n"), 2) << out;
    EXPECT_EQ(dmtest::count(out, "\n"), 7) << out;  // nothing of its own
}

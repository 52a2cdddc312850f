// This card's local port table as the application sees it, beyond the
// scripted configuration scenario: keys held twice, no table against an
// empty one, the show, the management board's answers for other slots from
// their card types, and replacement while readers convert.
#include <cstring>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_local_port.h>

namespace {

constexpr int kMySlot = 3;

dp_lib_lport_t rec(int lport, int key, int medium = PORT_MEDIUM_FIBER)
{
    dp_lib_lport_t r;
    std::memset(&r, 0, sizeof r);
    r.lport_phyid = key;
    r.lport = static_cast<uint8_t>(lport);
    r.medium_type = static_cast<uint8_t>(medium);
    r.type = PORT_TGIGABIT_ETHERNET;
    r.split_info.child_port_lport[31] = 0xEE;
    return r;
}

using dmtest::has;
using dmtest::send_lports;

void this_card_in_slot(int slot)
{
    dm_host_set_my_card(dm_node_make(1, slot), slot, 0x51, DM_TYPE_LC);
    dm_host_set_dbg_level(LIB_DBG_WARN);
}

}  // namespace

TEST(LocalPort, FirstRecordOfAKeyIsIndexedTheOthersOnlyScanned)
{
    this_card_in_slot(kMySlot);
    std::string out = dmtest::capture_stdout([] {
        send_lports({rec(1, 0x205), rec(2, 0x205), rec(3, 0)});
    });
    EXPECT_EQ(out.substr(out.find(">:")), ">:Insert dm_my_lport_phyid_root fail!\n");  // once
    EXPECT_EQ(dm_get_my_lport_num(), 3);
    EXPECT_TRUE(has(dmtest::log_lines().back(), ">:my port num: 3"));

    int unit = -7, port = -7;
    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(kMySlot, 3, &unit, &port), -1);
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(kMySlot, 4, &unit, &port), -1);
    });
    EXPECT_TRUE(has(out, "port invalid lport = 3!\n"));
    EXPECT_TRUE(has(out, "param error lport = 4!\n"));
    EXPECT_EQ(unit, -7);
    ASSERT_EQ(dm_local_get_unit_port_from_slot_lport(kMySlot, 2, &unit, &port), 0);
    EXPECT_EQ(unit * 100 + port, 105);

    // The key finds the first record, copied whole.
    dp_lib_lport_t info;
    ASSERT_EQ(dm_local_get_pinfo_by_lport_phyid(0x205, &info), 0);
    const dp_lib_lport_t want = rec(1, 0x205);
    EXPECT_EQ(std::memcmp(&info, &want, sizeof info), 0);
}

TEST(LocalPort, NoTableEmptyTableAndReplacement)
{
    this_card_in_slot(kMySlot);
    int unit = 0, port = 0, slot = 0, lport = 0;
    auto ask_lport_1 = [&] {
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(kMySlot, 1, &unit, &port), -1);
    };
    EXPECT_TRUE(has(dmtest::capture_stdout(ask_lport_1), "no info!\n"));

    send_lports({});  // an empty list is a table: the port is missing, not the table
    EXPECT_TRUE(has(dmtest::capture_stdout(ask_lport_1), "param error lport = 1!\n"));

    send_lports({rec(1, 0x001), rec(2, 0x002)});
    send_lports({rec(7, 0x207)});
    EXPECT_EQ(dm_get_my_lport_num(), 1);
    EXPECT_EQ(dm_local_get_slot_lport_from_unit_port(0, 1, &slot, &lport), -1);  // old keys gone
    EXPECT_EQ(dm_local_get_slot_lport_from_unit_port(1, 7, &slot, &lport), 0);
    ask_lport_1();

    // A negative count empties the table and leaves none.
    send_lports({}, -1);
    EXPECT_TRUE(has(dmtest::capture_stdout(ask_lport_1), "no info!\n"));
}

TEST(LocalPort, ComboPortsAndShow)
{
    this_card_in_slot(kMySlot);
    send_lports({rec(9, 0x009, PORT_MEDIUM_FIBER_COPPER), rec(4, 0x20C, PORT_MEDIUM_COPPER),
                 rec(6, 0, PORT_MEDIUM_FIBER_COPPER),  // no chip port: not listed
                 rec(2, 0x002, PORT_MEDIUM_FIBER_COPPER), rec(1, 0x001, PORT_MEDIUM_FIBER_COPPER)});
    int lports[8] = {};
    int num = 2;
    ASSERT_EQ(dm_get_my_card_multi_lport(lports, &num), 0);
    EXPECT_EQ(std::vector<int>(lports, lports + num), (std::vector<int>{9, 2}));

    send_lports({rec(4, 0x20C, PORT_MEDIUM_COPPER), rec(6, 0)});
    dm_host_set_dbg_level(LIB_DBG_END);
    EXPECT_EQ(dmtest::capture_stdout([] { dm_show_all_local_port(); }),
              "all local port: \r\n"
              "dm_my_lport_num:2\r\n"
              "port[0] lport_phyid:0x20c, lport:4, medium:1, type:2\r\n"
              "port[1] lport_phyid:0x0, lport:6, medium:0, type:2\r\n");
}

TEST(LocalPort, ManagementBoardAnswersForOtherSlots)
{
    this_card_in_slot(30);
    // Slot 3 holds a card whose lport 5 sits on unit 1, chip port 17; lport 0
    // has no unit. Slot 4 holds a card of a type never announced.
    dp_lib_card_type_info_t c = {};
    c.card_type = 0x60;
    std::memset(c.lport_unit, -1, sizeof c.lport_unit);
    c.lport_unit[5] = 1;
    c.chip_port[5] = 17;
    dmtest::send(DP_LIB_MSG_CARD_CFG, c);
    dm_host_set_card(dm_node_make(1, 3), 0x60, 0x60, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 4), 0x61, 0x61, DM_TYPE_LC);

    int unit = 0, port = 0;
    ASSERT_EQ(dm_local_get_unit_port_from_slot_lport(3, 5, &unit, &port), 0);
    EXPECT_EQ(unit * 100 + port, 117);
    std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(3, 0, &unit, &port), -1); });
    EXPECT_TRUE(has(out, "invalid lport. unit:-1, port:0\r\n"));
    EXPECT_EQ(unit, -1);  // written before it is refused

    // No card has an lport outside 0..255: refused without reading the record.
    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(3, 256, &unit, &port), -1);
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(3, -1, &unit, &port), -1);
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(4, 5, &unit, &port), -1);
        EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(7, 5, &unit, &port), -1);
    });
    EXPECT_NE(out.find("invalid lport. unit:-1, port:-1\r\n"),
              out.rfind("invalid lport. unit:-1, port:-1\r\n"));
    EXPECT_TRUE(has(out, "slot:4 card type(97) invalid\r\n"));
    EXPECT_TRUE(has(out, "card 7 offline\r\n"));

    this_card_in_slot(kMySlot);  // a line card refuses, naming its own slot
    out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_local_get_unit_port_from_slot_lport(4, 5, &unit, &port), -1); });
    EXPECT_TRUE(has(out, "slot 3 is not manage board\r\n"));
}

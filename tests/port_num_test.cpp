// Card and slot port-number queries: lowest and highest local port of a
// slot's card, validity of a local port of a slot, a port's card type and
// PoE flag, and a chip's CPU port found through its chip ID and card type.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

constexpr int kFull = 100;  // lports 0..47
constexpr int kGaps = 101;  // lports 1..24 and 40
constexpr int kNone = 102;  // no lport
constexpr int kWide = 103;  // claims 10 chips
const int kMyNode = dm_node_make(1, 3);

void send_card_type(int type, bool (*exists)(int), int chip_num, std::vector<int> chip_types)
{
    dp_lib_card_type_info_t cfg = {};
    cfg.card_type = type;
    cfg.chip_num = chip_num;
    for (size_t u = 0; u < chip_types.size() && u < DP_LIB_CARD_UNIT_MAX; ++u) {
        cfg.chip_types[u] = chip_types[u];
    }
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        cfg.lport_unit[l] = exists(l) ? 0 : -1;
        cfg.chip_port[l] = l;
    }
    dmtest::send(DP_LIB_MSG_CARD_CFG, cfg);
}

// This card (device 1 slot 3, type kFull); slot 4 kGaps, 5 kNone, 6 no card
// (type 0), 7 a type without configuration.
void setup_cards()
{
    dm_host_set_my_card(kMyNode, 3, kFull, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 4), kGaps, kWide, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 5), kNone, kNone, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 6), 0, 0, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 7), 999, 999, DM_TYPE_LC);
    send_card_type(kFull, [](int l) { return l < 48; }, 2, {7, 8});
    send_card_type(kGaps, [](int l) { return (l >= 1 && l <= 24) || l == 40; }, 1, {7});
    send_card_type(kNone, [](int) { return false; }, 1, {7});
    send_card_type(kWide, [](int) { return true; }, 10, {7, 7, 7, 7, 7, 7, 7, 7});
}

std::string warned(void (*fn)())
{
    dm_host_set_dbg_level(LIB_DBG_WARN);
    std::string out = dmtest::capture_stdout(fn);
    dm_host_set_dbg_level(LIB_DBG_END);
    return out;
}

TEST(PortNum, LowestAndHighestLport)
{
    setup_cards();
    // {slot, result, lowest, highest}: full card, card with gaps, card without ports.
    for (const auto &c : std::vector<std::vector<int>>{{3, 0, 0, 47}, {4, 0, 1, 40}, {5, -1, -1, -1}}) {
        int min = -9, max = -9, local_max = -9;
        EXPECT_EQ(dm_get_min_port_num(1, c[0], &min), c[1]);
        EXPECT_EQ(dm_get_max_port_num(1, c[0], &max), c[1]);
        EXPECT_EQ(dm_get_local_card_max_port(c[0], 5, &local_max), c[1]);  // sub-slot not used
        EXPECT_EQ((std::vector<int>{min, max, local_max}), (std::vector<int>{c[2], c[3], c[3]})) << c[0];
    }
    int v = -9;
    EXPECT_EQ(dm_get_min_port_num(1, 9, &v) + dm_get_max_port_num(1, 7, &v), -2);  // no card; no config
    EXPECT_EQ(v, -9);
    const std::string out = warned([] {
        int m = 0;
        EXPECT_EQ(dm_get_local_card_max_port(32, 0, &m) + dm_get_local_card_max_port(-1, 0, &m), -2);
    });
    EXPECT_NE(out.find(">:param error slot = 32!\n"), std::string::npos);
}

TEST(PortNum, LportOfASlotOfThisDevice)
{
    setup_cards();
    // This card's slot answers from its own card type, not the chassis' view.
    dm_host_set_card(kMyNode, kGaps, kGaps, DM_TYPE_LC);
    EXPECT_EQ(dm_local_check_slot_lport(3, 47), 0);
    EXPECT_EQ(dm_local_check_slot_lport(4, 40), 0);
    EXPECT_EQ(dm_local_check_slot_lport(4, 0) + dm_local_check_slot_lport(4, 30), -2);
    EXPECT_EQ(dm_local_check_slot_lport(32, 1) + dm_local_check_slot_lport(3, 256), -2);
    std::string out = warned([] { EXPECT_EQ(dm_local_check_slot_lport(3, 48), -1); });
    EXPECT_NE(out.find(">:invalid lport\n"), std::string::npos);
    // Type 0 is no card.
    out = warned([] { EXPECT_EQ(dm_local_check_slot_lport(6, 1), -1); });
    EXPECT_NE(out.find(">:dm_get_local_card_type_by_any_slot fail\n"), std::string::npos);
    dm_host_set_my_card_type_fails(true);
    EXPECT_EQ(dm_local_check_slot_lport(3, 1), -1);
    EXPECT_EQ(dm_local_check_slot_lport(4, 1), 0);
}

void send_port(int node, int lport, bool poe)
{
    dp_lib_port_t p = {};
    p.devid = dm_node_devid(node);
    p.slotid = dm_node_lslot(node);
    p.phyid = dm_phyid_make(p.devid, p.slotid, 0, lport);
    p.ss_phyid = dm_slot_lport_phyid_from_node(node, lport);
    p.node = node;
    p.portid = lport;
    p.chip_portid = lport;
    p.lsm_key = p.phyid;
    p.poe_support = poe ? 1 : 0;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
}

TEST(PortNum, CardTypeAndPoeOfAPort)
{
    setup_cards();
    send_port(kMyNode, 1, true);
    send_port(dm_node_make(1, 4), 2, false);
    send_port(dm_node_make(1, 9), 3, false);  // no card known there

    bool poe = false;
    EXPECT_EQ(dm_get_poe_support_by_phyid(dm_slot_lport_phyid(1, 3, 1), &poe), 0);
    EXPECT_TRUE(poe);
    EXPECT_EQ(dm_get_poe_support_by_phyid(dm_unit_port_phyid(1, 4, 0, 2), &poe), 0);
    EXPECT_FALSE(poe);
    EXPECT_EQ(dm_get_poe_support_by_phyid(dm_slot_lport_phyid(1, 3, 9), &poe), -1);

    int type = 0;
    EXPECT_EQ(dm_get_dev_type_from_port_phyid(dm_slot_lport_phyid(1, 4, 2), &type), 0);
    EXPECT_EQ(type, kGaps);  // the type present, not the one configured
    EXPECT_EQ(dm_get_dev_type_from_port_phyid(dm_slot_lport_phyid(1, 9, 3), &type), -1);
    EXPECT_LT(type, 0);  // the failed answer is written out
    type = 5;
    EXPECT_EQ(dm_get_dev_type_from_port_phyid(dm_slot_lport_phyid(1, 3, 9), &type), -1);
    EXPECT_EQ(type, 5);
}

// Chip IDs 40.. for slot 3 and 60.. for slot 4, one per unit, 10 units each.
void send_chip_ids()
{
    std::vector<chipid_slot_t> slots(2);
    for (int s = 0; s < 2; ++s) {
        chipid_slot_t &r = slots[static_cast<size_t>(s)];
        r = {};
        r.status = CHIPID_VALID;
        r.gslot = dm_get_gslot_from_lslot(1, 3 + s, 0);
        r.idnum_per_unit = 1;
        r.id_num = 10;
        for (int i = 0; i < 10; ++i) {
            r.id[i] = static_cast<uint16_t>((s == 0 ? 40 : 60) + i);
        }
    }
    addr_lib_sync_head_t head = {};
    head.type = ADDR_LIB_BS_SYNC;
    head.data_num = 2;
    head.len = static_cast<int32_t>(sizeof head + slots.size() * sizeof(chipid_slot_t));
    std::vector<uint8_t> buf(static_cast<size_t>(head.len));
    std::memcpy(buf.data(), &head, sizeof head);
    std::memcpy(buf.data() + sizeof head, slots.data(), slots.size() * sizeof(chipid_slot_t));
    dm_host_addr_data(buf.data(), head.len);
}

TEST(PortNum, CpuPortOfAChip)
{
    setup_cards();
    dp_lib_chip_info_t chip = {7, 1, 0, 99};
    dmtest::send(DP_LIB_MSG_CHIP_CFG, chip);
    send_chip_ids();

    EXPECT_EQ(dm_get_chip_cmic_port(40), 99);   // slot 3 unit 0: chip type 7
    EXPECT_EQ(dm_get_chip_cmic_port(41), -1);   // unit 1: chip type 8, unknown
    EXPECT_EQ(dm_get_chip_cmic_port(500), -1);  // not allocated
    std::string out = warned([] { EXPECT_EQ(dm_get_chip_cmic_port(42), -1); });
    EXPECT_NE(out.find(">:unit[2] is beyond card's chipnum[2]\n"), std::string::npos);
    // Slot 4's configured type claims 10 chips but lists 8: unit 8 is refused.
    EXPECT_EQ(dm_get_chip_cmic_port(67), 99);
    out = warned([] { EXPECT_EQ(dm_get_chip_cmic_port(68), -1); });
    EXPECT_NE(out.find(">:unit[8] is beyond card's chipnum[8]\n"), std::string::npos);
}

}  // namespace

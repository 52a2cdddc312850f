// Card and slot port-number queries: lowest and highest local port of a
// slot's card, a local port of a slot, a port's card type and PoE flag, and
// a chip's CPU port found through its chip ID and configured card type.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

using ints = std::vector<int>;
constexpr int kFull = 100;  // lports 0..47
constexpr int kGaps = 101;  // lports 1..24 and 40
constexpr int kNone = 102;  // no lport
constexpr int kWide = 103;  // 8 chips, as many as a record describes
const int kMyNode = dm_node_make(1, 3);

void send_card_type(int type, bool (*exists)(int), int chip_num, ints chip_types)
{
    dp_lib_card_type_info_t cfg = {};
    cfg.card_type = type;
    cfg.chip_num = chip_num;
    std::copy(chip_types.begin(), chip_types.end(), cfg.chip_types);
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        cfg.lport_unit[l] = exists(l) ? 0 : -1;
    }
    dmtest::send(DP_LIB_MSG_CARD_CFG, cfg);
}

// This card: device 1 slot 3, kFull. Slot 4: kGaps present, kWide
// configured; slot 5 kNone; slot 6 no card (type 0); slot 7 unknown type.
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
    send_card_type(kWide, [](int) { return true; }, 8, {7, 7, 7, 7, 7, 7, 7, 7});
}

std::string warned(void (*fn)())
{
    dm_host_set_dbg_level(LIB_DBG_WARN);
    return dmtest::capture_stdout(fn);
}

TEST(PortNum, LowestAndHighestLport)
{
    setup_cards();
    // A card without ports fails, and says -1 for both ends.
    int min = -9, max = -9, local_max = -9;
    EXPECT_EQ(dm_get_min_port_num(1, 5, &min), -1);
    EXPECT_EQ(dm_get_max_port_num(1, 5, &max), -1);
    EXPECT_EQ(dm_get_local_card_max_port(5, 0, &local_max), -1);
    EXPECT_EQ((ints{min, max, local_max}), (ints{-1, -1, -1}));
    int v = -9;
    EXPECT_EQ(dm_get_min_port_num(1, 9, &v) + dm_get_max_port_num(1, 7, &v),
              -2);  // no card; no config
    EXPECT_EQ(v, -9);
    const std::string out = warned([] {
        int m = 0;
        EXPECT_EQ(dm_get_local_card_max_port(32, 0, &m) + dm_get_local_card_max_port(-1, 0, &m),
                  -2);
    });
    EXPECT_NE(out.find(">:param error slot = 32!\n"), std::string::npos);
}

TEST(PortNum, LportOfASlotOfThisDevice)
{
    setup_cards();
    // This card's slot answers from its own card type, not the chassis' view.
    dm_host_set_card(kMyNode, kGaps, kGaps, DM_TYPE_LC);
    EXPECT_EQ(dm_local_check_slot_lport(3, 47), 0);
    EXPECT_EQ(dm_local_check_slot_lport(32, 1), -1);
    std::string out = warned([] { EXPECT_EQ(dm_local_check_slot_lport(3, 48), -1); });
    EXPECT_NE(out.find(">:invalid lport\n"), std::string::npos);
    // 255 is a local port number the card may lack; 256 is none at all.
    EXPECT_EQ(warned([] { dm_local_check_slot_lport(3, 255); }).find("Invalid parameter"),
              std::string::npos);
    EXPECT_NE(warned([] { dm_local_check_slot_lport(3, 256); }).find("Invalid parameter"),
              std::string::npos);
    out = warned([] { EXPECT_EQ(dm_local_check_slot_lport(6, 1), -1); });  // type 0: no card
    EXPECT_NE(out.find(">:dm_get_local_card_type_by_any_slot fail\n"), std::string::npos);
    dm_host_set_my_card_type_fails(true);
    EXPECT_EQ(dm_local_check_slot_lport(3, 1), -1);
    EXPECT_EQ(dm_local_check_slot_lport(4, 1), 0);
}

TEST(PortNum, CardTypeAndPoeOfAPort)
{
    setup_cards();
    for (int slot : {4, 9}) {  // no card is known in slot 9
        dp_lib_port_t p = dmtest::port_record(1, slot, 0, 1, 1);
        p.lsm_key = p.phyid;
        dmtest::send(DP_LIB_MSG_PORT_INFO, p);
    }
    bool poe = false;
    EXPECT_EQ(dm_get_poe_support_by_phyid(dm_slot_lport_phyid(1, 3, 9), &poe), -1);
    int type = 0;
    EXPECT_EQ(dm_get_dev_type_from_port_phyid(dm_unit_port_phyid(1, 4, 0, 1), &type), 0);
    EXPECT_EQ(type, kGaps);  // the type present, not the one configured
    EXPECT_EQ(dm_get_dev_type_from_port_phyid(dm_slot_lport_phyid(1, 9, 1), &type), -1);
    EXPECT_LT(type, 0);  // the failed answer is written out
}

TEST(PortNum, CpuPortOfAChip)
{
    setup_cards();
    dp_lib_chip_info_t chip = {7, 1, 0, 99};
    dmtest::send(DP_LIB_MSG_CHIP_CFG, chip);
    // Chip IDs 40.. in slot 3 and 60.. in slot 4, one per unit, ten units.
    dmtest::alloc_chipids(3, {40, 41, 42, 43, 44, 45, 46, 47, 48, 49});
    dmtest::alloc_chipids(4, {60, 61, 62, 63, 64, 65, 66, 67, 68, 69});

    EXPECT_EQ(dm_get_chip_cmic_port(40), 99);  // unit 0: chip type 7
    EXPECT_EQ(dm_get_chip_cmic_port(41) + dm_get_chip_cmic_port(500),
              -2);  // type 8 unknown; no chip
    std::string out = warned([] { EXPECT_EQ(dm_get_chip_cmic_port(42), -1); });
    EXPECT_NE(out.find(">:unit[2] is beyond card's chipnum[2]\n"), std::string::npos);
    // Slot 4's configured type has 8 chips, the most a record holds: unit 8 is refused.
    EXPECT_EQ(dm_get_chip_cmic_port(67), 99);
    out = warned([] { EXPECT_EQ(dm_get_chip_cmic_port(68), -1); });
    EXPECT_NE(out.find(">:unit[8] is beyond card's chipnum[8]\n"), std::string::npos);
}

}  // namespace

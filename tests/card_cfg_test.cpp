// Card-type records as the application sees them, beyond the scripted
// configuration scenario: records copied whole, names without a terminator,
// the chip arrays of this card and records claiming more than eight chips.
#include <cstdlib>
#include <cstring>
#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_card_table.h>
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kType = 0x51;

dp_lib_card_type_info_t make_card(int type, int chip_num)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = type;
    c.chip_num = chip_num;
    for (int u = 0; u < DP_LIB_CARD_UNIT_MAX; ++u) {
        c.chip_types[u] = 100 + u;
        c.chip_cport_max[u] = 60 + u;
    }
    return c;
}

using dmtest::has;

void this_card(int type)
{
    dm_host_set_my_card(dm_node_make(1, 3), 3, type, DM_TYPE_LC);
    dm_host_set_dbg_level(LIB_DBG_WARN);
}

}  // namespace

TEST(CardCfg, ByTypeQueries)
{
    this_card(kType);
    std::string out =
        dmtest::capture_stdout([] { EXPECT_EQ(dm_get_card_port_num_by_type(kType), -1); });
    EXPECT_NE(out.find("can not find node!\n"),
              out.rfind("can not find node!\n"));  // lookup and query

    dp_lib_card_type_info_t card = make_card(kType, 2);
    card.lport_poe_support[3] = card.lport_poe_support[255] = 1;
    card.relate_port[31].child_lport_end = 77;  // the last bytes travel too
    dmtest::send(DP_LIB_MSG_CARD_CFG, card);
    dp_lib_card_type_info_t got;
    ASSERT_EQ(dm_lib_get_card_cfg_by_type(kType, &got), 0);
    EXPECT_EQ(std::memcmp(&got, &card, sizeof got), 0);

    int ports[256];
    int num = 256;
    ASSERT_EQ(dm_get_poe_support_port(kType, ports, &num), 0);
    EXPECT_EQ(std::vector<int>(ports, ports + num), (std::vector<int>{3, 255}));

    char name[64];
    std::memset(card.name, 'x', sizeof card.name);  // no terminator in the field
    card.card_type = kType + 1;
    dmtest::send(DP_LIB_MSG_CARD_CFG, card);
    ASSERT_EQ(dm_get_card_name_by_type(kType + 1, name, sizeof name), 0);
    EXPECT_EQ(std::string(name), std::string(31, 'x'));
}

TEST(CardCfg, ChipArraysOfThisCard)
{
    this_card(kType);
    int *types = reinterpret_cast<int *>(0x1);
    int num = 0;
    EXPECT_EQ(dm_get_chip_type_by_card_type(kType, &types, &num), -1);
    EXPECT_EQ(types, nullptr);  // nothing left allocated

    dmtest::send(DP_LIB_MSG_CARD_CFG, make_card(kType, 0));
    ASSERT_EQ(dm_get_my_lchips(&types), 0);  // no chips is still an array
    EXPECT_EQ(types[7], 107);
    std::free(types);
    EXPECT_EQ(dm_get_max_port_by_unit(7), 67);  // not compared with the chip count
    EXPECT_TRUE(has(dmtest::capture_stdout([] { EXPECT_EQ(dm_get_max_port_by_unit(8), -1); }),
                    ">:param error\n"));

    dmtest::send(DP_LIB_MSG_CARD_CFG, make_card(kType + 1, -1));
    this_card(kType + 1);
    std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_my_lchips(&types), -1); });
    EXPECT_TRUE(has(out, "invalid chip_num!\n"));
    EXPECT_EQ(types, nullptr);
}

// A record claiming more chips than its per-unit arrays describe is refused
// when it arrives; a record stored earlier for its type stays, so every
// query answers the same chip count.
TEST(CardCfg, MoreThanEightChipsAreRefused)
{
    this_card(kType);
    dmtest::send(DP_LIB_MSG_CARD_CFG, make_card(kType, 8));
    for (int type : {kType, kType + 7}) {
        const std::string out =
            dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_CARD_CFG, make_card(type, 12)); });
        EXPECT_TRUE(has(out, "card type " + std::to_string(type) +
                                 " has 12 chips, more than 8: record refused!\n"))
            << out;
    }
    EXPECT_EQ(dm_get_switch_chip_num_by_card_type(kType), 8);
    int *types = nullptr;
    int num = 0;
    ASSERT_EQ(dm_get_chip_type_by_card_type(kType, &types, &num), 0);
    EXPECT_EQ(num, 8);
    std::free(types);
    EXPECT_EQ(dm_get_my_lchips(&types), 8);
    std::free(types);
    EXPECT_EQ(dm_get_switch_chip_num_by_card_type(kType + 7), -1);  // never stored
}

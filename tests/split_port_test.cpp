// Split ports: children of a parent port by mode and for all modes, in the
// local, global and _gms families, with their distinct results: the edges
// and diagnostics that the scripted split scenario leaves out.
#include <cstring>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

using ints = std::vector<int>;
constexpr int kType = 100;
const int kMine = dm_node_make(1, 3);
const int kOther = dm_node_make(1, 4);
const int kSub = dm_node_make(1, 5) | (1 << 18);

dp_lib_port_split_info_t split(ints ids, ints counts, int def, int first_child = 10)
{
    dp_lib_port_split_info_t s = {};
    s.split_mode_num = static_cast<uint8_t>(ids.size());
    s.def_split_mode = static_cast<uint8_t>(def);
    int children = 0;
    for (size_t i = 0; i < ids.size() && i < 4; ++i) {
        s.split_mode_id[i] = static_cast<uint8_t>(ids[i]);
        s.split_mode_port_num[i] = static_cast<uint8_t>(counts[i]);
        children += counts[i];
    }
    for (int j = 0; j < children && j < 32; ++j) {
        s.child_port_lport[j] = static_cast<uint8_t>(first_child + j);
    }
    return s;
}

// Modes {1: 4 children, 2: 2 children, 3: none}, default 2 (not the first),
// children lports 10..15.
const dp_lib_port_split_info_t kSplit = split({1, 2, 3}, {4, 2, 0}, 2);

void send_local_ports(std::vector<dp_lib_port_split_info_t> parents)
{
    std::vector<dp_lib_lport_t> recs(parents.size() + 1);  // the last one is no parent
    for (size_t l = 0; l < recs.size(); ++l) {
        recs[l].lport_phyid = dm_lport_phyid_make(1, 100 + static_cast<int>(l));
        recs[l].lport = static_cast<uint8_t>(l);
        recs[l].is_parent = l < parents.size();
        recs[l].split_info = l < parents.size() ? parents[l] : dp_lib_port_split_info_t{};
    }
    dmtest::send_lports(recs);
}

void send_port(int node, int lport, int unit, int cport, bool parent = false,
               dp_lib_port_split_info_t s = {})
{
    dp_lib_port_t p =
        dmtest::port_record(dm_node_devid(node), dm_node_lslot(node), unit, cport, lport);
    p.node = node;
    p.ss_phyid = dm_slot_lport_phyid_from_node(node, lport);
    p.lsm_key = p.phyid;
    p.is_parent = parent;
    p.split_info = s;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
}

// This card in slot 3 and another in slot 4 share a card type whose lports
// 0..47 sit on unit 1 at chip port 100 + lport; a sub-card is in slot 5.
void setup(std::vector<dp_lib_port_split_info_t> local_parents = {kSplit})
{
    dm_host_set_my_card(kMine, 3, kType, DM_TYPE_LC);
    dm_host_set_card(kOther, kType, kType, DM_TYPE_LC);
    dm_host_set_card(kSub, kType, kType, DM_TYPE_SUB_LC);
    dp_lib_card_type_info_t cfg = {};
    cfg.card_type = kType;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        cfg.lport_unit[l] = l < 48 ? 1 : -1;
        cfg.chip_port[l] = 100 + l;
    }
    dmtest::send(DP_LIB_MSG_CARD_CFG, cfg);
    send_local_ports(local_parents);
}

enum family { kLocal, kGlobal, kGms };

// A by-mode answer flattened: result, unit, then the children on success.
ints by_mode(family f, int node, int lport, int mode)
{
    int unit = -1, ports[32], num = 0;
    const int ret =
        f == kLocal ? dm_local_get_child_unit_port_by_spe_mode(lport, mode, &unit, ports, &num)
        : f == kGlobal
            ? dm_get_child_unit_port_by_spe_mode(node, lport, mode, &unit, ports, &num)
            : dm_get_child_unit_port_by_spe_mode_gms(node, lport, mode, &unit, ports, &num);
    ints out = {ret, unit};
    out.insert(out.end(), ports, ports + (ret == 0 ? num : 0));
    return out;
}

// An all-modes answer flattened: result, unit, (id, count) per mode, children.
ints all_modes(family f, int node, int lport)
{
    int unit = -1, ids[4], nums[4], ports[32], total = 0;
    const int ret =
        f == kLocal ? dm_local_get_child_unit_port_with_all_mode(lport, &unit, ids, ports, nums)
        : f == kGlobal
            ? dm_get_child_unit_port_with_all_mode(node, lport, &unit, ids, nums, ports)
            : dm_get_child_unit_port_with_all_mode_gms(node, lport, &unit, ids, nums, ports);
    ints out = {ret, unit};
    for (int i = 0; i < ret; ++i) {
        out.insert(out.end(), {ids[i], nums[i]});
        total += nums[i];
    }
    out.insert(out.end(), ports, ports + total);
    return out;
}
#define LOCAL(lport, mode) by_mode(kLocal, 0, lport, mode)
#define GLOBAL(node, lport, mode) by_mode(kGlobal, node, lport, mode)
#define GMS(node, lport, mode) by_mode(kGms, node, lport, mode)
#define LOCAL_ALL(lport) all_modes(kLocal, 0, lport)
#define GLOBAL_ALL(node, lport) all_modes(kGlobal, node, lport)
#define GMS_ALL(node, lport) all_modes(kGms, node, lport)

TEST(SplitPort, LocalFamily)
{
    setup();
    EXPECT_EQ(LOCAL(0, -1), (ints{0, 1, 114, 115}));  // the default mode
    EXPECT_EQ(LOCAL(0, 3)[0], -1);                    // no children: refused by this family
    EXPECT_EQ(LOCAL_ALL(-1)[0], -1);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ(LOCAL(0, 256)[0], -1);
        EXPECT_EQ(LOCAL(1, 1)[0], -1);
    });
    EXPECT_NE(out.find(">:not match plit mode:256.\n"), std::string::npos);
    EXPECT_NE(out.find(">:not parent port![data from static tbl]\n"), std::string::npos);
}

TEST(SplitPort, GlobalFamily)
{
    setup();
    // No port record: this card's local port table; a childless mode succeeds.
    EXPECT_EQ(GLOBAL(kMine, 0, 3), (ints{0, 1}));
    // A parent record of another card: its description, the card type's chip ports.
    send_port(kOther, 7, 1, 107, true, split({2, 5}, {2, 1}, 5, 20));
    EXPECT_EQ(GLOBAL(kOther, 7, -1), (ints{0, 1, 122}));
    EXPECT_EQ(GLOBAL_ALL(kOther, 7), (ints{2, 1, 2, 2, 5, 1, 120, 121, 122}));
    send_port(kOther, 8, 1, 108, true, split({}, {}, 1));
    EXPECT_EQ(GLOBAL_ALL(kOther, 8), (ints{0, 1}));  // no modes: only the unit

    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ(GLOBAL(kSub, 0, 1)[0], -1);
        EXPECT_EQ(GLOBAL(kOther, 7, 9)[0], -1);
    });
    EXPECT_NE(out.find(">:subcard cannot be supported in this func.\n"), std::string::npos);
}

TEST(SplitPort, GmsFamilyReadsOnlyThePortTable)
{
    setup();
    // Parent on unit 2; its children lports 10..15 carry chip ports 210..215.
    send_port(kOther, 0, 2, 200, true, kSplit);
    for (int l = 10; l <= 15; ++l) {
        send_port(kOther, l, 2, 200 + l);
    }
    EXPECT_EQ(GMS(kOther, 0, 3), (ints{0, 2}));
    EXPECT_EQ(GMS_ALL(kOther, 0), (ints{3, 2, 1, 4, 2, 2, 3, 0, 210, 211, 212, 213, 214, 215}));
    // -1 parameters, -2 sub-card, -3 no parent, -4 not a parent, -5 no mode or a missing child.
    EXPECT_EQ((ints{GMS(kOther, 0, -2)[0], GMS(kSub, 0, 1)[0], GMS_ALL(kOther, 40)[0],
                    GMS(kOther, 10, 1)[0], GMS(kOther, 0, 7)[0]}),
              (ints{-1, -2, -3, -4, -5}));
    send_port(kOther, 30, 2, 230, true, split({1}, {2}, 1, 40));
    EXPECT_EQ(GMS_ALL(kOther, 30)[0], -5);
    EXPECT_EQ(GLOBAL(kOther, 30, 1), (ints{0, 1, 140, 141}));  // the card type still answers
}

TEST(SplitPort, DescriptionLargerThanItsArraysIsRefused)
{
    dp_lib_port_split_info_t five_modes = split({1, 2, 3, 4}, {1, 1, 1, 1}, 1);
    five_modes.split_mode_num = 5;
    const dp_lib_port_split_info_t forty_children = split({1, 2, 3}, {16, 16, 8}, 1);
    // Four modes and 32 children fill the arrays exactly: accepted.
    setup({five_modes, forty_children, split({1, 2, 3, 4}, {8, 8, 8, 8}, 1)});
    EXPECT_EQ(LOCAL_ALL(2).size(), 2u + 8u + 32u);
    send_port(kOther, 0, 2, 200, true, five_modes);
    send_port(kOther, 1, 2, 201, true, forty_children);

    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([] {
        EXPECT_EQ((ints{LOCAL(0, 1)[0], LOCAL_ALL(1)[0], GLOBAL(kOther, 0, 1)[0],
                        GLOBAL_ALL(kOther, 1)[0], GMS(kOther, 0, 1)[0], GMS_ALL(kOther, 1)[0]}),
                  (ints{-1, -1, -1, -1, -5, -5}));
    });
    EXPECT_NE(out.find(">:invalid split info: mode num 5, child port num 4.\n"), std::string::npos);
    EXPECT_NE(out.find(">:invalid split info: mode num 3, child port num 40.\n"),
              std::string::npos);
}

}  // namespace

// The query step of the structured fuzz target: one query of any family,
// its arguments drawn from the input (from the small key ranges, and raw),
// its output arrays sized exactly as its contract asks.
#include "sequence.h"

namespace dmseq {
namespace {

// Heap arrays of exactly the size a query's contract asks for, so a write
// past them is caught.
using ints = std::vector<int>;

// A query's arguments: a port key and a raw 32-bit value from the input,
// and room for what it answers.
struct args {
    int k;
    int a;
    int x = 0;
    int y = 0;
    int z = 0;
    int w = 0;
    bool b = false;
    int node() const { return dm_node_make(port_dev(k), port_slot(k)); }
    int unit_phyid() const { return port_unit_phyid(k); }
};

// The k-th allocated chip ID, or `fallback` when none is allocated: a
// chip's questions mostly go to IDs that have an owner.
int allocated_chipid(int k, int fallback)
{
    static std::vector<dm_chipid_alloc_t> list(kChipidNum);
    int num = kChipidNum;
    if (dm_get_alloced_chipid(list.data(), &num) != 0 || num == 0) {
        return fallback % 2100;
    }
    return list[static_cast<size_t>(k % num)].chipid;
}

// The split-port queries: by one mode (an answered count fits the children)
// and with all modes (an answered mode count fits the modes); this card's,
// a node's, and a node's through the management board.
void query_split(dmfuzz::Reader &in, int which)
{
    const int k = in.u8();
    const int node = dm_node_make(port_dev(k), port_slot(k));
    const int lport = in.i16() % 300;
    const int mode = in.i8() % 6;
    int unit = 0;
    int num = 0;
    ints children(DP_LIB_SPLIT_CHILD_MAX);
    ints ids(DP_LIB_SPLIT_MODE_MAX);
    ints nums(DP_LIB_SPLIT_MODE_MAX);
    int *c = children.data();
    const int r =
        which == 0 ? dm_local_get_child_unit_port_by_spe_mode(lport, mode, &unit, c, &num)
        : which == 1
            ? dm_local_get_child_unit_port_with_all_mode(lport, &unit, ids.data(), c, nums.data())
        : which == 2 ? dm_get_child_unit_port_by_spe_mode(node, lport, mode, &unit, c, &num)
        : which == 3
            ? dm_get_child_unit_port_with_all_mode(node, lport, &unit, ids.data(), nums.data(), c)
        : which == 4 ? dm_get_child_unit_port_by_spe_mode_gms(node, lport, mode, &unit, c, &num)
                     : dm_get_child_unit_port_with_all_mode_gms(node, lport, &unit, ids.data(),
                                                                nums.data(), c);
    if (which % 2 == 0) {
        DM_FUZZ_CHECK(r != 0 || (num >= 0 && num <= DP_LIB_SPLIT_CHILD_MAX), num);
    } else {
        DM_FUZZ_CHECK(r < 0 || r <= DP_LIB_SPLIT_MODE_MAX, r);
    }
}

void query_port_bmp(args &q)
{
    int *bmp = nullptr;
    int num = 0;
    if (dm_get_port_bmp_from_chipid(allocated_chipid(q.k, q.a), &bmp, &num) == 0) {
        DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
        scribble_and_free(bmp, static_cast<size_t>(num));
    }
}

void query_poe_ports(args &q)
{
    ints ports(DP_LIB_CARD_LPORT_MAX);
    int num = DP_LIB_CARD_LPORT_MAX;
    if (dm_get_poe_support_port(q.k & 7, ports.data(), &num) == 0) {
        DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
    }
}

void query_multi_lport(args &q)
{
    const int room = 1 + (q.k & 7);
    ints lports(static_cast<size_t>(room));
    int num = room;
    if (dm_get_my_card_multi_lport(lports.data(), &num) == 0) {
        DM_FUZZ_CHECK(num >= 0 && num <= room, num, room);
    }
}

void query_dev_chipids(args &q)
{
    ints all(kChipidNum);
    int num = 0;
    DM_FUZZ_CHECK(dm_get_chipid_range_by_dev(q.k % 4, all.data(), &num) == 0, q.k);
    DM_FUZZ_CHECK(num >= 0 && num <= kChipidNum, num);
}

// Both lists of a management interface fit the room they were given.
void query_mgmt_lists(args &q)
{
    const int room = q.k & 7;
    ints list(static_cast<size_t>(room > 0 ? room : 1));
    for (auto get : {dm_get_phyid_list_from_phy_mgmt_ifx, dm_get_phyid_from_phy_mgmt_ifx}) {
        int num = room;
        if (get(static_cast<IFINDEX>(q.a & 7), list.data(), &num) == 0) {
            DM_FUZZ_CHECK(num <= room, num, room);
        }
    }
}

// A debug option of the input's bytes: only "fcdbg " may change anything.
void query_dbg_option(args &q)
{
    char option[8] = {};
    std::memcpy(option, &q.a, sizeof q.a);
    dm_host_run_dbg_init(option);
    dm_host_run_dbg_init("fcdbg 4");
}

// Every other query, one call each: the sanitizers and the table checks
// after later steps judge them.
using query_fn = void (*)(args &);
const query_fn kQueries[] = {
    [](args &q) { dm_get_chipid_port_from_phyid(q.unit_phyid(), &q.x, &q.y); },
    [](args &q) { dm_get_chipid_port_from_phyid(q.a, &q.x, &q.y); },
    [](args &q) { dm_get_ifindex_from_phyid(q.unit_phyid(), &q.x); },
    [](args &q) { dm_get_phyid_from_ifx(q.k & 31, &q.x); },
    [](args &q) {
        dm_get_phyid_by_slot_unit_port(port_dev(q.k), port_slot(q.k), port_unit(q.k),
                                       port_cport(q.k), &q.x);
    },
    [](args &q) { dm_get_phyid_by_slot_lport(port_dev(q.k), port_slot(q.k), q.a & 0x1FF, &q.x); },
    [](args &q) { dm_get_port_medium_type(q.a, &q.x); },
    [](args &q) { dm_get_port_type(q.unit_phyid(), &q.x); },
    [](args &q) { dm_get_port_medium_switch(q.unit_phyid(), &q.b); },
    [](args &q) { dm_port_is_on_local_device(q.a); },
    [](args &q) { dm_port_is_on_local_switch(static_cast<unsigned>(q.k & 31)); },
    [](args &q) { dm_get_min_port_num(port_dev(q.k), q.a & 63, &q.x); },
    [](args &q) { dm_get_max_port_num(port_dev(q.k), q.a & 63, &q.x); },
    [](args &q) { dm_get_local_card_max_port(q.a % 40, 0, &q.x); },
    [](args &q) { dm_local_check_slot_lport(q.k % 40, q.a % 300); },
    [](args &q) { dm_get_dev_type_from_port_phyid(q.unit_phyid(), &q.x); },
    [](args &q) { dm_get_poe_support_by_phyid(q.unit_phyid(), &q.b); },
    [](args &q) { dm_get_chip_cmic_port(allocated_chipid(q.k, q.a)); },
    query_port_bmp,
    [](args &q) { dm_get_lchip_family_by_unit(q.a % 10); },
    [](args &q) { dm_get_invalid_port(q.a % 10); },
    [](args &q) { dm_get_max_port_by_unit(q.a % 10); },
    query_poe_ports,
    [](args &q) { dm_get_poe_support_by_card_type(q.k & 7, &q.b); },
    query_multi_lport,
    [](args &q) { dm_get_my_lport_num_by_sub_slot(q.a % 3, &q.x); },
    [](args &q) { dm_local_get_slot_lport_from_unit_port(q.k & 1, q.a & 31, &q.x, &q.y); },
    [](args &q) { dm_local_get_unit_port_from_slot_lport(q.k % 33, q.a % 300, &q.x, &q.y); },
    [](args &q) { dm_phyid_is_global(q.a, &q.b); },
    [](args &q) { dm_get_lphyid_from_phyid(q.unit_phyid()); },
    [](args &q) { dm_get_phyid_from_lphyid(q.a); },
    [](args &q) { dm_get_lphyid_from_unit_port(q.k & 1, q.a & 31); },
    [](args &q) { dm_get_unit_port_from_lphyid(q.a, &q.x, &q.y); },
    [](args &q) {
        dp_lib_lport_t rec;
        dm_local_get_pinfo_by_lphyid(q.a, &rec);
    },
    [](args &q) { dm_get_first_chipid_from_node(dm_get_phyid_from_gslot(q.k % 66), &q.x); },
    [](args &q) { dm_get_first_chipid_from_local_unit(q.a % 5, &q.x); },
    [](args &q) { dm_is_local_chipid(allocated_chipid(q.k, q.a)); },
    [](args &q) { dm_get_node_unit_from_chipid(q.a % 2100, &q.x, &q.y); },
    query_dev_chipids,
    [](args &q) { dm_get_dune_static_chipid(q.a % 4, q.k % 40, q.a % 10); },
    [](args &q) { dm_get_dev_slot_unit_by_dune_chipid(q.a % 2100, &q.x, &q.y, &q.z); },
    [](args &q) {
        dm_get_sysport_from_dev_slot_unit_port(q.k % 4, q.a % 40, q.k % 10, q.a % 45, &q.x);
    },
    [](args &q) { dm_get_dev_slot_unit_port_from_sysport(q.a % 21000, &q.x, &q.y, &q.z, &q.w); },
    query_mgmt_lists,
    [](args &q) { utest_dm_get_phyid(static_cast<IFINDEX>(q.k & 7)); },
    [](args &q) { dm_get_node_from_phy_mgmt_phyid(q.a); },
    [](args &q) { dm_get_dev_slot_lport_from_phy_mgmt_phyid(q.a, &q.x, &q.y, &q.z); },
    [](args &q) { dm_get_phy_mgmt_phyid_from_dev_slot_lport(q.k % 4, q.a % 300, q.k % 3); },
    [](args &q) { dm_lib_show_phy_mgmt_ifx(q.a % 4); },
    [](args &q) { dm_get_card_port_num(q.node()); },
    [](args &q) { dm_get_sub_node_from_port_phyid(q.a, &q.x); },
    [](args &) { dm_show_all_local_port(); },
    [](args &q) { dm_is_llcb_type_support(q.a % 40); },
    [](args &q) { dm_get_phy_mgmt_phyid_from_dev_slot(q.k % 4, q.a % 300); },
    [](args &q) {
        ints children(DP_LIB_SPLIT_CHILD_MAX);
        dm_local_get_child_unit_port_from_lport(q.k & 31, &q.x, children.data(), &q.y);
        dm_get_child_unit_port_from_node_lport(q.node(), q.k & 31, &q.x, children.data(), &q.y);
        dm_get_child_unit_port_from_node_lport_gms(q.node(), q.k & 31, &q.x, children.data(), &q.y);
    },
    query_dbg_option,
};

constexpr int kSplitQueries = 6;

}  // namespace

// Query q reads q, a port key and a 32-bit argument; the split-port queries
// (q below 6) then read their own.
void step_query(dmfuzz::Reader &in)
{
    const int q = in.u8() % (kSplitQueries + static_cast<int>(std::size(kQueries)));
    args a = {in.u8(), in.i32()};
    if (q < kSplitQueries) {
        query_split(in, q);
    } else {
        kQueries[q - kSplitQueries](a);
    }
}

}  // namespace dmseq

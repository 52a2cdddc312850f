// The query step of the structured fuzz target: one query of any family,
// its arguments drawn from the input (from the small key ranges, and raw),
// its output arrays sized exactly as its contract asks.
#include "sequence.h"

namespace dmseq {
namespace {

// Heap arrays of exactly the size a query's contract asks for, so a write
// past them is caught.
struct ints {
    explicit ints(size_t n) : p(static_cast<int *>(std::calloc(n, sizeof(int)))) {}
    ~ints() { std::free(p); }
    ints(const ints &) = delete;
    ints &operator=(const ints &) = delete;
    int *p;
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

void query_split(dmfuzz::Reader &in, int which)
{
    const int k = in.u8();
    const int node = dm_node_make(port_dev(k), port_slot(k));
    const int lport = in.i16() % 300;
    const int mode = in.i8() % 6;
    int unit = 0;
    int num = 0;
    ints children(DP_LIB_SPLIT_CHILD_MAX);
    ints mode_ids(DP_LIB_SPLIT_MODE_MAX);
    ints nums(DP_LIB_SPLIT_MODE_MAX);
    int r = 0;
    switch (which) {
    case 0:
        r = dm_local_get_child_unit_port_by_spe_mode(lport, mode, &unit, children.p, &num);
        break;
    case 1:
        r = dm_local_get_child_unit_port_with_all_mode(lport, &unit, mode_ids.p, children.p,
                                                       nums.p);
        break;
    case 2:
        r = dm_get_child_unit_port_by_spe_mode(node, lport, mode, &unit, children.p, &num);
        break;
    case 3:
        r = dm_get_child_unit_port_with_all_mode(node, lport, &unit, mode_ids.p, nums.p,
                                                 children.p);
        break;
    case 4:
        r = dm_get_child_unit_port_by_spe_mode_gms(node, lport, mode, &unit, children.p, &num);
        break;
    default:
        r = dm_get_child_unit_port_with_all_mode_gms(node, lport, &unit, mode_ids.p, nums.p,
                                                     children.p);
        break;
    }
    if (r == 0 && (which % 2) == 0) {
        DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_SPLIT_CHILD_MAX, num);
    }
    if (r >= 0 && (which % 2) == 1) {
        DM_FUZZ_CHECK(r <= DP_LIB_SPLIT_MODE_MAX, r);
    }
}

}  // namespace

void step_query(dmfuzz::Reader &in)
{
    const int q = in.u8() % 24;
    const int k = in.u8();
    const int a = in.i32();
    int x = 0;
    int y = 0;
    int z = 0;
    int w = 0;
    bool b = false;
    switch (q) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
        query_split(in, q);
        break;
    case 6:
        dm_get_chipid_port_from_phyid(port_unit_phyid(k), &x, &y);
        dm_get_chipid_port_from_phyid(a, &x, &y);
        break;
    case 7:
        dm_get_ifindex_from_phyid(port_unit_phyid(k), &x);
        dm_get_phyid_from_ifx(k & 31, &x);
        break;
    case 8:
        dm_get_phyid_by_slot_unit_port(port_dev(k), port_slot(k), port_unit(k), port_cport(k), &x);
        dm_get_phyid_by_slot_lport(port_dev(k), port_slot(k), a & 0x1FF, &x);
        break;
    case 9:
        dm_get_port_medium_type(a, &x);
        dm_get_port_type(port_unit_phyid(k), &x);
        dm_get_port_medium_switch(port_unit_phyid(k), &b);
        dm_port_is_on_local_device(a);
        dm_port_is_on_local_switch(static_cast<unsigned>(k & 31));
        break;
    case 10:
        dm_get_min_port_num(port_dev(k), a & 63, &x);
        dm_get_max_port_num(port_dev(k), a & 63, &x);
        dm_get_local_card_max_port(a % 40, 0, &x);
        dm_local_check_slot_lport(k % 40, a % 300);
        break;
    case 11:
        dm_get_dev_type_from_port_phyid(port_unit_phyid(k), &x);
        dm_get_poe_support_by_phyid(port_unit_phyid(k), &b);
        dm_get_chip_cmic_port(allocated_chipid(k, a));
        break;
    case 12: {
        int *bmp = nullptr;
        int num = 0;
        if (dm_get_port_bmp_from_chipid(allocated_chipid(k, a), &bmp, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
            scribble_and_free(bmp, static_cast<size_t>(num));
        }
        break;
    }
    case 13:
        dm_get_lchip_family_by_unit(a % 10);
        dm_get_invalid_port(a % 10);
        dm_get_max_port_by_unit(a % 10);
        break;
    case 14: {
        ints ports(DP_LIB_CARD_LPORT_MAX);
        int num = DP_LIB_CARD_LPORT_MAX;
        if (dm_get_poe_support_port(k & 7, ports.p, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
        }
        dm_get_poe_support_by_card_type(k & 7, &b);
        break;
    }
    case 15: {
        const int room = 1 + (k & 7);
        ints lports(static_cast<size_t>(room));
        int num = room;
        if (dm_get_my_card_multi_lport(lports.p, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= room, num, room);
        }
        dm_get_my_lport_num_by_sub_slot(a % 3, &x);
        break;
    }
    case 16:
        dm_local_get_slot_lport_from_unit_port(k & 1, a & 31, &x, &y);
        dm_local_get_unit_port_from_slot_lport(k % 33, a % 300, &x, &y);
        break;
    case 17: {
        dp_lib_lport_t rec;
        dm_phyid_is_global(a, &b);
        dm_get_lphyid_from_phyid(port_unit_phyid(k));
        dm_get_phyid_from_lphyid(a);
        dm_get_lphyid_from_unit_port(k & 1, a & 31);
        dm_get_unit_port_from_lphyid(a, &x, &y);
        dm_local_get_pinfo_by_lphyid(a, &rec);
        break;
    }
    case 18:
        dm_get_first_chipid_from_node(dm_get_phyid_from_gslot(k % 66), &x);
        dm_get_first_chipid_from_local_unit(a % 5, &x);
        dm_is_local_chipid(allocated_chipid(k, a));
        dm_get_node_unit_from_chipid(a % 2100, &x, &y);
        DM_FUZZ_CHECK(dm_get_system_invalid_chipid() == 25);
        DM_FUZZ_CHECK(dm_get_system_reserved_chipid_range(&x, &y) == 0 && x == 26 && y == 26);
        DM_FUZZ_CHECK(dm_get_zone_reserved_chipid_range(&x, &y) == 0 && x == 1 && y == 8);
        break;
    case 19: {
        ints all(kChipidNum);
        int num = 0;
        DM_FUZZ_CHECK(dm_get_chipid_range_by_dev(k % 4, all.p, &num) == 0, k);
        DM_FUZZ_CHECK(num >= 0 && num <= kChipidNum, num);
        break;
    }
    case 20:
        dm_get_dune_static_chipid(a % 4, k % 40, a % 10);
        dm_get_dev_slot_unit_by_dune_chipid(a % 2100, &x, &y, &z);
        dm_get_sysport_from_dev_slot_unit_port(k % 4, a % 40, k % 10, a % 45, &x);
        dm_get_dev_slot_unit_port_from_sysport(a % 21000, &x, &y, &z, &w);
        break;
    case 21: {
        const int room = (k & 7);
        ints list(static_cast<size_t>(room > 0 ? room : 1));
        int num = room;
        if (dm_get_phyid_list_from_phy_mgmt_ifx(static_cast<IFINDEX>(a & 7), list.p, &num) == 0) {
            DM_FUZZ_CHECK(num <= room, num, room);
        }
        num = room;
        if (dm_get_phyid_from_phy_mgmt_ifx(static_cast<IFINDEX>(a & 7), list.p, &num) == 0) {
            DM_FUZZ_CHECK(num <= room, num, room);
        }
        utest_dm_get_phyid(static_cast<IFINDEX>(k & 7));
        break;
    }
    case 22:
        dm_get_node_from_phy_mgmt_phyid(a);
        dm_get_dev_slot_lport_from_phy_mgmt_phyid(a, &x, &y, &z);
        dm_get_phy_mgmt_phyid_from_dev_slot_lport(k % 4, a % 300, k % 3);
        dm_lib_show_phy_mgmt_ifx(a % 4);
        break;
    default: {
        dm_get_card_port_num(dm_node_make(port_dev(k), port_slot(k)));
        dm_get_sub_node_from_port_phyid(a, &x);
        dm_show_all_local_port();
        dm_is_llcb_type_support(a % 40);
        dm_get_phy_mgmt_phyid_from_dev_slot(k % 4, a % 300);
        ints children(DP_LIB_SPLIT_CHILD_MAX);
        const int node = dm_node_make(port_dev(k), port_slot(k));
        dm_local_get_child_unit_port_from_lport(k & 31, &x, children.p, &y);
        dm_get_child_unit_port_from_node_lport(node, k & 31, &x, children.p, &y);
        dm_get_child_unit_port_from_node_lport_gms(node, k & 31, &x, children.p, &y);
        // A debug option of the input's bytes: only "fcdbg " may change anything.
        char option[8];
        std::memcpy(option, &a, sizeof a);
        std::memcpy(option + 4, "\0\0\0\0", 4);
        dm_host_run_dbg_init(option);
        dm_host_run_dbg_init("fcdbg 4");
        break;
    }
    }
}

}  // namespace dmseq
